"""The first half of scripts/faults: injects each fault once and checks what the program guarantees."""
import collections
import errno
import fcntl
import os
import re
import resource
import signal
import stat
import struct
import subprocess
import sys
import termios
import textwrap
import unittest

sys.path.insert(0, os.path.join(os.path.dirname(os.path.dirname(os.path.abspath(__file__))), "tests"))
from harness import (IS_ROOT, Device, access_list, end, get, is_in_state, post, redirect,  # noqa: E402
                     settings_text, wait_until)

GUARD = 60  # seconds after which a request is taken to hang
PAGE = b"http://192.0.2.1/a-page-whose-address-needs-memory.html"
OLD = settings_text((b"old", b"text that is longer than a string holds in itself"))
FORM = b"first-field-of-some-length=its+value%2C%20longer%20than%20the%20name&second=%3C2%3E&third"
LARGE_FORM = FORM + b"&" * 70000
NEW = settings_text((b"first-field-of-some-length", b"its+value, longer than the name"), (b"second", b"<2>"),
                    (b"third", b"third"))
REFUSAL = b"Content-Type: text/plain\r\n\r\nUnknown request type.\n"
WORDS = ("false", "stopped", "running", "restarted")

# The errors that fit each call. EINTR only where POSIX lets the call be interrupted.
ERRORS = {
    "read": "EINTR EIO ENOMEM", "write": "EINTR EIO ENOSPC EDQUOT EPIPE ENOMEM", "writev": "EIO EPIPE",
    "openat": "EINTR EACCES EMFILE ENFILE ENOMEM EIO",
    "openat O_DIRECTORY": "EACCES EMFILE ENFILE ENOMEM EIO",
    "openat O_CREAT": "EINTR EACCES EMFILE ENFILE ENOMEM EIO ENOSPC EDQUOT EROFS EEXIST",
    "close": "EINTR EIO ENOSPC EDQUOT", "getdents64": "EIO ENOMEM", "newfstatat": "EACCES EIO ENOMEM",
    "fstat": "EIO ENOMEM", "fsync": "EINTR EIO ENOSPC EDQUOT EINVAL", "syncfs": "EIO ENOSPC",
    "renameat": "EACCES EPERM EROFS EXDEV EBUSY EIO ENOSPC EDQUOT ENOMEM", "fchmod": "EPERM EIO EROFS",
    "fchown": "EPERM EIO EROFS", "unlinkat": "EACCES EPERM EIO EROFS EBUSY",
    "faccessat2": "EACCES EIO ENOMEM EROFS", "flock": "EINTR EAGAIN ENOLCK EOPNOTSUPP",
    "readlinkat": "EACCES EIO ENOMEM", "readlink": "EACCES ENOENT", "llistxattr": "EIO ENOMEM ERANGE",
    "llistxattr = 0": "EIO ENOMEM EOPNOTSUPP ENOSYS", "lgetxattr": "EIO ENOMEM ENODATA ERANGE",
    "fgetxattr": "EIO ENOMEM ERANGE", "fremovexattr": "EIO ENOSPC EPERM EOPNOTSUPP ENODATA",
    "fsetxattr": "EIO ENOSPC EDQUOT EPERM EOPNOTSUPP", "getcwd": "ENOENT ENOMEM EACCES",
    "fcntl": "EMFILE EBADF", "dup2": "EINTR EBUSY", "clone3": "EAGAIN ENOMEM ENOSYS",
    "clone": "EAGAIN ENOMEM", "vfork": "EAGAIN ENOMEM", "wait4": "EINTR ECHILD",
    "rt_sigaction": "EINVAL", "rt_sigprocmask": "EINVAL", "mmap": "ENOMEM",
    "munmap": "ENOMEM", "mprotect": "ENOMEM", "getrandom": "EAGAIN ENOSYS", "arch_prctl": "EINVAL",
    "set_tid_address": "ENOSYS", "set_robust_list": "ENOSYS", "rseq": "ENOSYS", "prlimit64": "EPERM",
    "uname": "EFAULT",
}
# Calls that cannot fail, and brk, whose failure strace cannot inject: the failing allocations cover it.
NEVER_FAIL = ("brk", "execve", "exit_group", "getpid", "geteuid", "getuid", "getegid", "getgid",
              "rt_sigreturn")

# The program writes a profile at its end: those calls do not fail, it is not killed, and nothing is judged.
PROFILED = "--profiled" in sys.argv[1:]

Request = collections.namedtuple("Request", "title env body prepare options",
                                 defaults=(lambda device: None, {}))
Outcome = collections.namedtuple("Outcome", "status output settings left attributes signalled calls")


def link_elsewhere(device):
    os.rename(device.path(), device.path("../real.txt"))
    os.symlink("../real.txt", device.path())


def link_to_nothing(device):
    link_elsewhere(device)
    os.unlink(device.path("../real.txt"))


def leave_temporary_files(device):
    for number in range(2):
        device.write(f".settings_xml.txt.saving-{number:016x}", b"left")


def give_attributes(device):
    os.setxattr(device.path(), "user.note", b"kept")
    os.setxattr(device.path(), "system.posix_acl_access", access_list(0o606, 1234))


def attributes(device):
    """Returns what replacing the file must not change: mode, owner, group, extended attributes, ACL."""
    if not os.path.isfile(device.path()):
        return None
    status = os.stat(device.path())
    return (stat.S_IMODE(status.st_mode), status.st_uid, status.st_gid,
            {name: os.getxattr(device.path(), name) for name in os.listxattr(device.path())})


def requests():
    body = post(len(FORM))
    return [
        Request("POST", body, FORM),
        Request("POST, no settings yet", body, FORM, lambda device: os.unlink(device.path())),
        Request("GET", get(FORM.decode()), b""),
        Request("refused POST", post(20000, CONTENT_TYPE="text/plain"), bytes(20000)),
        Request("POST that signals", body, FORM, options={"runs": True}),
        Request("POST that clears left files", body, FORM, leave_temporary_files),
        Request("POST, attributes to keep", body, FORM, give_attributes),
        Request("POST on a failing device", body, FORM, options={"given": ["fsync:error=EIO"]}),
        Request("POST, folder refuses", body, FORM, options={"given": ["renameat:error=EPERM"]}),
        Request("POST, settings elsewhere", body, FORM, link_elsewhere),
        Request("POST, no settings yet elsewhere", body, FORM, link_to_nothing),
        Request("large POST", post(len(LARGE_FORM)), LARGE_FORM),
        Request("POST that signals, errors into the response", body, FORM,
                options={"runs": True, "start": {"stderr": subprocess.STDOUT}}),
    ]


class Bench:
    """The device of every request, and the counts of what was tried and what was kept."""

    def __init__(self):
        self.cleanups = unittest.TestCase()
        self.device = Device(self.cleanups)
        self.tried, self.kept, self.broken = collections.Counter(), collections.Counter(), []
        self.trace = os.path.join(self.device.scratch, "trace")

    def clear(self):
        for name in self.device.extra_files() | {"settings_xml.txt"}:
            if os.path.lexists(self.device.path(name)):
                os.unlink(self.device.path(name))

    def lay_out(self, request):
        self.clear()
        self.device.write("settings_xml.txt", OLD)
        # A mode and an owner that the temporary file must get.
        os.chmod(self.device.path(), 0o606)
        if IS_ROOT:
            os.chown(self.device.path(), 1234, 1234)
        request.prepare(self.device)
        return attributes(self.device)

    def run(self, request, wrap=(), feed=None, **options):
        """Makes one request on a fresh device. `feed`, if given, serves the request's pipes."""
        signal.alarm(2 * GUARD)
        before = self.lay_out(request)
        application = self.device.application() if request.options.get("runs") else None
        env = {"HTTP_REFERER": PAGE, **request.env, **options.pop("env", {})}
        options = {**request.options.get("start", {}), **options}
        process = self.device.start(env, wrap=wrap, start_new_session=True, **options)
        try:
            output = feed(process) if feed else process.communicate(request.body, timeout=GUARD)[0]
            status = process.wait(timeout=GUARD)
        except subprocess.TimeoutExpired:
            os.killpg(process.pid, signal.SIGKILL)
            output, status = b"", "hangs"
        end(process)
        signalled = self.was_signalled(application) if application else None
        kept = before is None or attributes(self.device) == before
        return Outcome(status, output, self.device.settings, self.device.extra_files(), kept, signalled,
                       self.calls() if wrap else [])

    @staticmethod
    def was_signalled(application):
        with application:
            application.terminate()  # of two pending signals, SIGUSR1 is delivered first
            return application.wait() == -signal.SIGUSR1

    def tracer(self, *faults):
        """Returns the command that runs a program, injects these faults and records its system calls."""
        command = ["strace", "-y", "-s", "0", "-o", self.trace, "-e", "signal=none"]
        return command + [word for fault in faults for word in ("-e", f"inject={fault}")]

    def calls(self):
        with open(self.trace, encoding="ascii", errors="replace") as lines:
            return [line for line in lines if re.match(r"\w+\(", line)]

    def traced(self, request, *faults, **options):
        return self.run(request, self.tracer(*request.options.get("given", []), *faults), **options)

    def record(self, title, request, what, complaints):
        self.tried[title] += 1
        self.kept[title] += not complaints
        self.broken += [f"{title}: {request.title}, {what}: {complaint}" for complaint in complaints]

    def next_save_complaints(self):
        self.device.save(b"a=1")
        return [f"the next save left {sorted(left)}" for left in [self.device.extra_files()] if left]


def texts(request, right):
    """Returns what the file may hold: the old settings and, unless the request is refused, the new ones."""
    before = None if "no settings yet" in request.title else OLD
    return (before,) if right.output == REFUSAL else (before, NEW)


def word_of(output):
    return next((word for word in WORDS if output in (redirect(word, PAGE), redirect(word))), None)


def complaints_of_word(request, outcome, word, where):
    """Compares the status word with what happened; `where` names what the fault may have hidden."""
    runs, replaced = request.options.get("runs", False), outcome.settings == NEW
    truths = {
        "false": not outcome.signalled and (not replaced or "identity" in where),
        "stopped": replaced and not outcome.signalled and (not runs or "table" in where),
        "running": replaced and runs and (not outcome.signalled or "result" in where),
        "restarted": replaced and outcome.signalled,
    }
    said = f"says {word}; replaced: {replaced}, application runs: {runs}, signalled: {outcome.signalled}"
    return [] if truths[word] else [said]


def complaints_of_file(request, right, outcome):
    return [] if outcome.settings in texts(request, right) else [f"settings file: {outcome.settings!r}"]


def complaints_of(request, right, outcome, where):
    complaints = complaints_of_file(request, right, outcome)
    complaints += [] if outcome.attributes else ["attributes changed"]
    if "start" in where and outcome.status != 0:
        # The C library ended the process before the program began.
        return complaints + ["the settings file was touched"] * (outcome.settings != texts(request, right)[0])
    if outcome.status != right.status:
        complaints.append(f"ended with {outcome.status}")
    wrong_answer = [f"answer: {outcome.output!r}"]
    if "answer" in where:
        is_beginning = b"\r\n\r\n" in outcome.output and right.output.startswith(outcome.output)
        return complaints + ([] if outcome.output == b"" or is_beginning else wrong_answer)
    if right.output == REFUSAL:
        return complaints + ([] if outcome.output == REFUSAL else wrong_answer)
    word = word_of(outcome.output)
    return complaints + (complaints_of_word(request, outcome, word, where) if word else wrong_answer)


BEGIN = r"^rt_sigprocmask\(SIG_BLOCK, \[PIPE XFSZ\]"  # the program's own first call


def position(calls, pattern):
    found = [number for number, call in enumerate(calls) if re.search(pattern, call)]
    return found[-1] if found else None


def place_of(name, calls, begins=BEGIN):
    """Returns where in the request the fault was injected into the call; None if the call was not made."""
    number = position(calls, rf"^{name}\(.*\(INJECTED\)")
    if number is None:
        return None
    begin, table = position(calls, begins), position(calls, r'^openat\(.*"/proc", ')
    where = set()
    if begin is None or number < begin:
        where.add("start")
    if re.match(r"write\(1\b", calls[number]):
        where.add("answer")
    replaced = position(calls, r'^renameat\(.*= 0$|"/proc/self/fd/\d+", O_WRONLY.*= \d')
    if replaced is not None and replaced < number and (table is None or number < table):
        where.add("identity")
    if table is not None and table <= number:
        where.add("table")
    if calls[number].startswith("wait4"):
        where.add("result")
    return where


def chosen(calls, given=()):
    """Returns the calls to fail, as name, ordinal and line; of those on the process table a few."""
    counts, table, inside = collections.Counter(), position(calls, r'^openat\(.*"/proc", '), []
    plan = []
    for number, line in enumerate(calls):
        name = line.partition("(")[0]
        counts[name] += 1
        if name in NEVER_FAIL or name in "".join(given):
            continue
        if PROFILED and (name not in ERRORS or "/profiles/" in line):
            continue
        if table is not None and number > table and re.search(r"</proc/\d+/cmdline>|/proc/\d+/cmdline", line):
            inside.append((name, counts[name], line))
            continue
        plan.append((name, counts[name], line))
    middle = len(inside) // 6 * 3
    return plan + inside[:6] + inside[middle:middle + 3] * (len(inside) > 9) + inside[-3:] * (len(inside) > 6)


def errors_of(name, line, errors):
    if name == "llistxattr" and "= 0" in line:  # perhaps a file system without attributes
        name += " = 0"
    for flag in ("O_CREAT", "O_DIRECTORY"):
        if name == "openat" and flag in line:
            name += " " + flag
    return errors[name].split()


def every_call_fails(bench, request, right):
    for name, ordinal, line in chosen(right.calls, request.options.get("given", ())):
        for error in errors_of(name, line, ERRORS):
            outcome = bench.traced(request, f"{name}:error={error}:when={ordinal}")
            where = place_of(name, outcome.calls)
            if where is None:
                continue  # the process table has become shorter
            complaints = complaints_of(request, right, outcome, where)
            title = "start of the C library" if "start" in where else error
            if error == "EINTR" and outcome[:6] != right[:6]:
                complaints.append(f"an interruption changed the outcome: {outcome[:6]}")
            if outcome.left:
                complaints += bench.next_save_complaints()
            bench.record(title, request, f"{name} call {ordinal} ({line.strip()[:60]})", complaints)


def killed_at_every_call(bench, request, right):
    for name, ordinal, line in chosen(right.calls, request.options.get("given", ())):
        outcome = bench.traced(request, f"{name}:signal=KILL:when={ordinal}")
        if outcome.status != -signal.SIGKILL:
            continue
        complaints = complaints_of_file(request, right, outcome)
        if outcome.left:
            complaints += bench.next_save_complaints()
        bench.record("killed at a call", request, f"{name} call {ordinal} ({line.strip()[:60]})", complaints)


def power_cut(bench, request, right):
    """Writes, flush, rename, flush of the directory, and then the signal: in this order."""
    order = [call for call in right.calls
             if re.match(r"(write|fsync|renameat)\b.*" + bench.device.html, call) or '"/proc"' in call]
    names = "".join(call[0] for call in order)
    folder = [call for call in order if re.match(rf"fsync\(\d+<{bench.device.html}>\)", call)]
    is_right = re.fullmatch(r"w+frfo", names) and order[-2:-1] == folder and "= -1" not in "".join(order)
    bench.record("power cut: write, fsync, rename, fsync", request, "order", [] if is_right else order)


def allocations_fail(bench, request):
    program = os.environ["FAILING_NEW"]
    errors = os.path.join(bench.device.scratch, "count")
    with open(errors, "wb") as count:
        right = bench.run(request, program=program, env={"COUNT_ALLOCATIONS": "1"}, stderr=count)
    with open(errors, encoding="ascii") as count:
        made = int(count.read().split()[-1])
    for number in range(1, made + 1):
        outcome = bench.run(request, program=program, env={"FAIL_ALLOCATION": str(number)})
        complaints = complaints_of(request, right, outcome, {"identity"})
        if outcome.left:
            complaints += bench.next_save_complaints()
        bench.record("allocation fails", request, f"allocation {number} of {made}", complaints)


def give_body(process, body):
    process.stdin.write(body)
    process.stdin.close()


def waiting(pipe):
    return struct.unpack("i", fcntl.ioctl(pipe, termios.FIONREAD, bytes(4)))[0]


def drip(pipe, content, process):
    """Writes one byte at a time, each after the one before it has been read."""
    for byte in content:
        os.write(pipe, bytes([byte]))
        wait_until(lambda: not waiting(pipe) or process.poll() is not None)


def short_reads(bench, request, right):
    def body(process):
        drip(process.stdin.fileno(), request.body, process)
        return process.communicate(timeout=GUARD)[0]

    def marker(process):
        give_body(process, request.body)
        with open(bench.device.path("pid.cgi"), "wb", buffering=0) as fifo:
            drip(fifo.fileno(), bench.device.name.encode(), process)
        return process.stdout.read()

    def check(title, feed):
        outcome = bench.traced(request, feed=feed)
        reads = sum(bool(re.match(r"read\(.*\) += 1$", call)) for call in outcome.calls)
        complaints = [] if outcome[:6] == right[:6] else [f"changed the outcome: {outcome[:6]}"]
        bench.record("short reads", request, title, complaints + ["there were none"] * (reads < 10))

    check("body byte by byte", body)
    os.rename(bench.device.path("pid.cgi"), bench.device.path("../marker"))
    os.mkfifo(bench.device.path("pid.cgi"))
    check("marker byte by byte", marker)
    os.replace(bench.device.path("../marker"), bench.device.path("pid.cgi"))


def interrupted_reader(process, pipe):
    """Reads a pipe. Each time it is full, stops and continues the writer, whose write is then short."""
    content, fulls = b"", 0
    os.set_blocking(pipe, True)
    size = fcntl.fcntl(pipe, fcntl.F_GETPIPE_SZ)
    while True:
        wait_until(lambda: waiting(pipe) == size or process.poll() is not None)
        if process.poll() is None:
            fulls += 1
            os.kill(process.pid, signal.SIGSTOP)
            wait_until(lambda: is_in_state(process.pid, "T"))
            os.kill(process.pid, signal.SIGCONT)
        piece = os.read(pipe, size)
        content += piece
        if not piece:
            return content, fulls


def short_writes(bench, request):
    """The answer and the settings go into pipes that are too small for them."""
    def check(title, written, expected, fulls):
        complaints = [] if written == expected else ["text or answer changed"]
        bench.record("short writes", request, title, complaints + ["there were none"] * (fulls < 5))

    def answer(process):
        give_body(process, request.body)
        fcntl.fcntl(process.stdout, fcntl.F_SETPIPE_SZ, 4096)
        return interrupted_reader(process, process.stdout.fileno())

    outcome = bench.run(request, feed=answer, env={"HTTP_REFERER": PAGE + b"?x=" + b"y" * 40000})
    content, fulls = outcome.output
    expected = redirect("stopped", PAGE, b"&x=" + b"y" * 40000)
    written = (outcome.status, content, outcome.settings)
    check("answer through a small pipe", written, (0, expected, NEW), fulls)

    body = b"a=" + b"b" * 40000
    os.unlink(bench.device.path())
    os.mkfifo(bench.device.path())
    reader = os.open(bench.device.path(), os.O_RDONLY | os.O_NONBLOCK)
    fcntl.fcntl(reader, fcntl.F_SETPIPE_SZ, 4096)
    process = bench.device.start(post(len(body)))
    give_body(process, body)
    wait_until(lambda: waiting(reader) > 0)
    content, fulls = interrupted_reader(process, reader)
    os.close(reader)
    expected = (settings_text((b"a", body[2:])), redirect("stopped"))
    check("settings through a small pipe", (content, process.stdout.read()), expected, fulls)


def limits(bench, request, right):
    """Limits of the kernel: the size of a file, and the number of descriptors."""
    sizes = (0, 1, len(NEW) - 1)
    for kind, title, values in (
            (resource.RLIMIT_FSIZE, "file size limit (short write, EFBIG)", sizes),
            (resource.RLIMIT_NOFILE, "descriptor limit", range(6))):
        for value in values:
            def limit(kind=kind, value=value):
                resource.setrlimit(kind, (value, value))

            outcome = bench.run(request, preexec_fn=limit)
            where = {"identity", "table"} if kind == resource.RLIMIT_NOFILE else {}
            complaints = complaints_of(request, right, outcome, where)
            if kind == resource.RLIMIT_FSIZE and outcome.settings == right.settings != OLD:
                complaints.append("the limit was not met")
            complaints += [f"left {name}" for name in outcome.left]
            bench.record(title, request, f"limit {value}", complaints)


def print_table(bench):
    def row(title, titles):
        tried, kept = (sum(counts[each] for each in titles) for counts in (bench.tried, bench.kept))
        print(f"{title:40} {tried:8} {kept:8}")

    print(f"{'fault':40} {'tried':>8} {'kept':>8}")
    errors = sorted(title for title in bench.tried if hasattr(errno, title))
    row("a system call fails", errors)
    for title in sorted(bench.tried.keys() - set(errors)):
        row(title, [title])
    row("all", bench.tried)
    counts = ", ".join(f"{error} {bench.tried[error]}" for error in errors)
    print(textwrap.fill("system calls failed with " + counts, 100))
    for line in bench.broken:
        print("BROKEN " + line)


def give_up(*_):
    raise TimeoutError("a request hangs")


def main():
    signal.signal(signal.SIGALRM, give_up)
    bench = Bench()
    try:
        for request in requests():
            print(f"{request.title} ...", file=sys.stderr)
            right = bench.traced(request)
            if position(right.calls, BEGIN) is None:
                raise LookupError("the program's own first call is not known")
            every_call_fails(bench, request, right)
            allocations_fail(bench, request)
            # A kill may tear a file that is written in place.
            if not PROFILED and not request.title.endswith(("elsewhere", "refuses")):
                killed_at_every_call(bench, request, right)
        plain, unborn, _, _, signals, clearing, keeping = requests()[:7]
        for request in (plain, unborn, signals, clearing, keeping):
            power_cut(bench, request, bench.traced(request))
        right = bench.traced(plain)
        short_reads(bench, plain, right)
        short_writes(bench, plain)
        limits(bench, plain, right)
    finally:
        bench.cleanups.doCleanups()
    print_table(bench)
    return bool(bench.broken) and not PROFILED


if __name__ == "__main__":
    sys.exit(main())
