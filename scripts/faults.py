"""What scripts/faults runs: each fault once, what was promised for it, and a table at the end."""
import collections
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
import unittest

sys.path.insert(0, os.path.join(os.path.dirname(os.path.dirname(os.path.abspath(__file__))), "tests"))
from harness import IS_ROOT, Device, access_list, end, get, post, redirect, settings_text, wait_until  # noqa: E402

GUARD = 60  # seconds; what takes longer hangs
PAGE = b"http://192.0.2.1/a-page-whose-address-needs-memory.html"
OLD = settings_text((b"old", b"text that is longer than a string holds in itself"))
FORM = b"first-field-of-some-length=its+value%2C%20longer%20than%20the%20name&second=%3C2%3E&third"
LARGE_FORM = FORM + b"&" * 70000
NEW = settings_text((b"first-field-of-some-length", b"its+value, longer than the name"), (b"second", b"<2>"), (b"third", b"third"))
REFUSAL = b"Content-Type: text/plain\r\n\r\nUnknown request type.\n"
WORDS = ("false", "stopped", "running", "restarted")

# The errors that fit each call. EINTR stands only where POSIX lets the call be interrupted.
ERRORS = {
    "read": "EINTR EIO ENOMEM", "write": "EINTR EIO ENOSPC EDQUOT EPIPE ENOMEM", "close": "EINTR EIO ENOSPC EDQUOT",
    "openat": "EINTR EACCES EMFILE ENFILE ENOMEM EIO", "openat O_CREAT": "EINTR EACCES EMFILE ENFILE ENOMEM EIO ENOSPC EDQUOT EROFS EEXIST",
    "openat O_DIRECTORY": "EACCES EMFILE ENFILE ENOMEM EIO", "getdents64": "EIO ENOMEM", "newfstatat": "EACCES EIO ENOMEM",
    "fstat": "EIO ENOMEM", "fsync": "EINTR EIO ENOSPC EDQUOT EINVAL", "syncfs": "EIO ENOSPC", "renameat": "EACCES EPERM EROFS EXDEV EBUSY EIO ENOSPC EDQUOT ENOMEM",
    "fchmod": "EPERM EIO EROFS", "fchown": "EPERM EIO EROFS", "unlinkat": "EACCES EPERM EIO EROFS EBUSY", "faccessat2": "EACCES EIO ENOMEM EROFS",
    "flock": "EINTR EAGAIN ENOLCK EOPNOTSUPP", "readlinkat": "EACCES EIO ENOMEM", "llistxattr": "EIO ENOMEM ERANGE", "llistxattr = 0": "EIO ENOMEM EOPNOTSUPP ENOSYS",
    "lgetxattr": "EIO ENOMEM ENODATA ERANGE", "fgetxattr": "EIO ENOMEM ERANGE", "fremovexattr": "EIO ENOSPC EPERM EOPNOTSUPP ENODATA",
    "fsetxattr": "EIO ENOSPC EDQUOT EPERM EOPNOTSUPP", "getcwd": "ENOENT ENOMEM EACCES", "writev": "EIO EPIPE", "fcntl": "EMFILE EBADF", "dup2": "EINTR EBUSY", "clone3": "EAGAIN ENOMEM ENOSYS", "clone": "EAGAIN ENOMEM",
    "vfork": "EAGAIN ENOMEM", "wait4": "EINTR ECHILD", "rt_sigaction": "EINVAL", "rt_sigprocmask": "EINVAL", "mmap": "ENOMEM", "munmap": "ENOMEM",
    "mprotect": "ENOMEM", "getrandom": "EAGAIN ENOSYS", "readlink": "EACCES ENOENT", "arch_prctl": "EINVAL",
    "set_tid_address": "ENOSYS", "set_robust_list": "ENOSYS", "rseq": "ENOSYS", "prlimit64": "EPERM", "uname": "EFAULT",
}
# What cannot fail, and brk, whose failure is no error but an unmoved break that only the kernel knows: the failing
# allocations stand for it.
NEVER_FAIL = ("brk", "execve", "exit_group", "getpid", "geteuid", "getuid", "getegid", "getgid", "rt_sigreturn")

# The program writes a profile when it ends: those calls are left alone, it is not killed, and nothing is judged.
PROFILED = "--profiled" in sys.argv[1:]

Request = collections.namedtuple("Request", "title env body prepare options", defaults=(lambda device: None, {}))
Outcome = collections.namedtuple("Outcome", "status output settings left attributes signalled calls")


def link_elsewhere(device):
    os.rename(device.path(), device.path("../real.txt"))
    os.symlink("../real.txt", device.path())


def link_to_nothing(device):
    if os.path.exists(device.path("../real.txt")):
        os.unlink(device.path("../real.txt"))
    os.unlink(device.path())
    os.symlink("../real.txt", device.path())


def leave_temporary_files(device):
    for number in range(2):
        device.write(".settings_xml.txt.saving-%016x" % number, b"left")


def give_attributes(device):
    os.setxattr(device.path(), "user.note", b"kept")
    os.setxattr(device.path(), "system.posix_acl_access", access_list(0o606, 1234))


def attributes(device):
    """What replacing the file must not change: mode, owner, group, extended attributes, ACL."""
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
        Request("POST that signals, errors into the response", body, FORM, options={"runs": True, "start": {"stderr": subprocess.STDOUT}}),
    ]


class Bench:
    """The device that every request is made on, and the count of what was tried and what was kept."""

    def __init__(self):
        self.cleanups = unittest.TestCase()
        self.device = Device(self.cleanups)
        self.tried, self.kept, self.broken = collections.Counter(), collections.Counter(), []
        self.trace = os.path.join(self.device.scratch, "trace")

    def lay_out(self, request):
        for name in self.device.extra_files() | {"settings_xml.txt"}:
            if os.path.lexists(self.device.path(name)):
                os.unlink(self.device.path(name))
        self.device.write("settings_xml.txt", OLD)
        # A mode and an owner that the temporary file has to be given.
        os.chmod(self.device.path(), 0o606)
        if IS_ROOT:
            os.chown(self.device.path(), 1234, 1234)
        request.prepare(self.device)
        return attributes(self.device)

    def run(self, request, wrap=(), feed=None, **options):
        """One request from the beginning; `feed` serves its pipes instead of a plain hand-over of the body."""
        signal.alarm(2 * GUARD)
        before = self.lay_out(request)
        application = self.device.application() if request.options.get("runs") else None
        env = {"HTTP_REFERER": PAGE, **request.env, **options.pop("env", {})}
        process = self.device.start(env, wrap=wrap, start_new_session=True, **{**request.options.get("start", {}), **options})
        try:
            output = feed(process) if feed else process.communicate(request.body, timeout=GUARD)[0]
            status = process.wait(timeout=GUARD)
        except subprocess.TimeoutExpired:
            os.killpg(process.pid, signal.SIGKILL)
            output, status = b"", "hangs"
        end(process)
        signalled = None
        if application:
            application.terminate()  # of two signals that wait for a process, SIGUSR1 would come first
            signalled = application.wait() == -signal.SIGUSR1
            end(application)
        kept = before is None or attributes(self.device) == before
        return Outcome(status, output, self.device.settings, self.device.extra_files(), kept, signalled, self.calls(wrap))

    def calls(self, wrap):
        if not wrap or wrap[0] != "strace":
            return []
        with open(self.trace, encoding="ascii", errors="replace") as lines:
            return [line for line in lines if re.match(r"\w+\(", line)]

    def traced(self, request, *faults, **options):
        wrap = ["strace", "-y", "-s", "0", "-o", self.trace, "-e", "signal=none"]
        for fault in [*request.options.get("given", []), *faults]:
            wrap += ["-e", "inject=" + fault]
        return self.run(request, wrap, **options)

    def record(self, title, request, what, complaints):
        self.tried[title] += 1
        self.kept[title] += not complaints
        self.broken += ["%s: %s, %s: %s" % (title, request.title, what, complaint) for complaint in complaints]

    def next_save_complaints(self):
        self.device.save(b"a=1")
        return ["the next save left %s" % sorted(left) for left in [self.device.extra_files()] if left]


def texts(request, right):
    """What the file may hold: the settings from before the request, and unless it is refused those of its form."""
    before = None if "no settings yet" in request.title else OLD
    return (before,) if right.output == REFUSAL else (before, NEW)


def word_of(output):
    return next((word for word in WORDS if output in (redirect(word, PAGE), redirect(word))), None)


def complaints_of_word(request, outcome, word, where):
    """What the status word says against what happened; `where` names the places that the fault may have hidden."""
    runs, replaced = request.options.get("runs", False), outcome.settings == NEW
    truths = {
        "false": not outcome.signalled and (not replaced or "identity" in where),
        "stopped": replaced and not outcome.signalled and (not runs or "table" in where),
        "running": replaced and runs and (not outcome.signalled or "result" in where),
        "restarted": replaced and outcome.signalled,
    }
    return [] if truths[word] else ["says %s; replaced: %s, application runs: %s, signalled: %s" % (word, replaced, runs, outcome.signalled)]


def complaints_of(request, right, outcome, where):
    complaints = [] if outcome.settings in texts(request, right) else ["settings file: %r" % outcome.settings]
    complaints += [] if outcome.attributes else ["attributes changed"]
    if "start" in where and outcome.status != 0:
        # The C library gives up before the program has begun; nothing has happened.
        return complaints + (["the settings file was touched"] if outcome.settings != texts(request, right)[0] else [])
    if outcome.status != right.status:
        complaints.append("ended with %s" % outcome.status)
    if "answer" in where:
        header = outcome.output == b"" or b"\r\n\r\n" in outcome.output and right.output.startswith(outcome.output)
        return complaints + ([] if header else ["answer: %r" % outcome.output])
    if right.output == REFUSAL:
        return complaints + ([] if outcome.output == REFUSAL else ["answer: %r" % outcome.output])
    word = word_of(outcome.output)
    return complaints + (complaints_of_word(request, outcome, word, where) if word else ["answer: %r" % outcome.output])


BEGIN = r"^rt_sigprocmask\(SIG_BLOCK, \[PIPE XFSZ\]"  # the program's own first call


def position(calls, pattern):
    found = [number for number, call in enumerate(calls) if re.search(pattern, call)]
    return found[-1] if found else None


def place_of(name, calls):
    """Where in the request the fault injected into the call struck; None when it was never reached."""
    number = position(calls, r"^%s\(.*\(INJECTED\)" % name)
    if number is None:
        return None
    begin, table = position(calls, BEGIN), position(calls, r'^openat\(.*"/proc", ')
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


def chosen(request, calls):
    """The calls to strike, as name, ordinal and line. Of the process table a few stand for all."""
    given = "".join(request.options.get("given", []))
    counts, table, inside = collections.Counter(), position(calls, r'^openat\(.*"/proc", '), []
    plan = []
    for number, line in enumerate(calls):
        name = line.partition("(")[0]
        counts[name] += 1
        if name in NEVER_FAIL or name in given or PROFILED and (name not in ERRORS or "/profiles/" in line):
            continue
        if table is not None and number > table and re.search(r"</proc/\d+/cmdline>|/proc/\d+/cmdline", line):
            inside.append((name, counts[name], line))
            continue
        plan.append((name, counts[name], line))
    middle = len(inside) // 6 * 3
    return plan + inside[:6] + inside[middle:middle + 3] * (len(inside) > 9) + inside[-3:] * (len(inside) > 6)


def errors_of(name, line):
    if name == "llistxattr" and "= 0" in line:  # a file without attributes may be on a file system without them
        name += " = 0"
    kind = name + next((" " + flag for flag in ("O_CREAT", "O_DIRECTORY") if flag in line), "") if name == "openat" else name
    return ERRORS[kind].split()


def every_call_fails(bench, request, right):
    for name, ordinal, line in chosen(request, right.calls):
        for error in errors_of(name, line):
            outcome = bench.traced(request, "%s:error=%s:when=%d" % (name, error, ordinal))
            where = place_of(name, outcome.calls)
            if where is None:
                continue  # the process table has become shorter
            complaints = complaints_of(request, right, outcome, where)
            title = "start of the C library" if "start" in where else error
            if error == "EINTR" and outcome[:6] != right[:6]:
                complaints.append("an interruption changed the outcome: %s" % (outcome[:6],))
            if outcome.left:
                complaints += bench.next_save_complaints()
            bench.record(title, request, "%s call %d (%s)" % (name, ordinal, line.strip()[:60]), complaints)


def killed_at_every_call(bench, request, right):
    for name, ordinal, line in chosen(request, right.calls):
        outcome = bench.traced(request, "%s:signal=KILL:when=%d" % (name, ordinal))
        if outcome.status != -signal.SIGKILL:
            continue
        complaints = [] if outcome.settings in texts(request, right) else ["settings file: %r" % outcome.settings]
        if outcome.left:
            complaints += bench.next_save_complaints()
        bench.record("killed at a call", request, "%s call %d (%s)" % (name, ordinal, line.strip()[:60]), complaints)


def power_cut(bench, request, right):
    """All is written before the flush, which comes before the rename; then the directory is flushed, before the signal."""
    order = [call for call in right.calls
             if re.match(r"(write|fsync|renameat)\b", call) and bench.device.html in call or '"/proc"' in call]
    names = "".join(call[0] for call in order)
    folder = [call for call in order if re.match(r"fsync\(\d+<%s>\)" % bench.device.html, call)]
    right_order = re.fullmatch(r"w+frfo", names) and order[-2:-1] == folder and all("= -1" not in call for call in order)
    bench.record("power cut: write, fsync, rename, fsync", request, "order", [] if right_order else order)


def allocations_fail(bench, request):
    program = os.environ["FAILING_NEW"]
    errors = os.path.join(bench.device.scratch, "count")
    with open(errors, "wb") as count:
        right = bench.run(request, program=program, env={"COUNT_ALLOCATIONS": "1"}, stderr=count)
    with open(errors, encoding="ascii") as count:
        made = int(count.read().split()[-1])
    for number in range(1, made + 1):
        outcome = bench.run(request, program=program, env={"FAIL_ALLOCATION": str(number)})
        complaints = complaints_of(request, right, outcome, {"identity"}) + bench.next_save_complaints() * bool(outcome.left)
        bench.record("allocation fails", request, "allocation %d of %d" % (number, made), complaints)


def waiting(pipe):
    return struct.unpack("i", fcntl.ioctl(pipe, termios.FIONREAD, bytes(4)))[0]


def drip(pipe, content, process):
    """One byte at a time, each when the one before it has been taken."""
    for byte in content:
        os.write(pipe, bytes([byte]))
        wait_until(lambda: not waiting(pipe) or process.poll() is not None)


def short_reads(bench, request, right):
    def body(process):
        drip(process.stdin.fileno(), request.body, process)
        return process.communicate(timeout=GUARD)[0]

    def marker(process):
        process.stdin.write(request.body)
        process.stdin.close()
        process.stdin = None
        with open(bench.device.path("pid.cgi"), "wb", buffering=0) as fifo:
            drip(fifo.fileno(), bench.device.name.encode(), process)
        return process.stdout.read()

    def check(title, feed):
        outcome = bench.traced(request, feed=feed)
        reads = sum(bool(re.match(r"read\(.*\) += 1$", call)) for call in outcome.calls)
        complaints = [] if outcome[:6] == right[:6] else ["changed the outcome: %s" % (outcome[:6],)]
        bench.record("short reads", request, title, complaints + ["there were none"] * (reads < 10))

    check("body byte by byte", body)
    os.rename(bench.device.path("pid.cgi"), bench.device.path("../marker"))
    os.mkfifo(bench.device.path("pid.cgi"))
    check("marker byte by byte", marker)
    os.replace(bench.device.path("../marker"), bench.device.path("pid.cgi"))


def is_stopped(pid):
    with open("/proc/%d/stat" % pid, "rb") as status:
        return status.read().rpartition(b") ")[2][:1] == b"T"


def interrupted_reader(process, pipe):
    """Takes a pipe's bytes; each time the pipe is full, the writer is stopped and continued, which cuts its write short."""
    content, fulls = b"", 0
    os.set_blocking(pipe, True)
    size = fcntl.fcntl(pipe, fcntl.F_GETPIPE_SZ)
    while True:
        wait_until(lambda: waiting(pipe) == size or process.poll() is not None)
        if process.poll() is None:
            fulls += 1
            os.kill(process.pid, signal.SIGSTOP)
            wait_until(lambda: is_stopped(process.pid))
            os.kill(process.pid, signal.SIGCONT)
        piece = os.read(pipe, size)
        content += piece
        if not piece:
            return content, fulls


def short_writes(bench, request):
    """The answer and the settings go into pipes that are too small for them."""
    fulls = []

    def answer(process):
        process.stdin.write(request.body)
        process.stdin.close()
        process.stdin = None
        fcntl.fcntl(process.stdout, fcntl.F_SETPIPE_SZ, 4096)
        content, full = interrupted_reader(process, process.stdout.fileno())
        fulls.append(full)
        return content

    page = PAGE + b"?x=" + b"y" * 40000
    outcome = bench.run(request, feed=answer, env={"HTTP_REFERER": page})
    complaints = [] if outcome[:3] == (0, redirect("stopped", PAGE, b"&x=" + b"y" * 40000), NEW) else ["answer or file changed"]
    bench.record("short writes", request, "answer through a small pipe", complaints + ["there were none"] * (fulls[0] < 5))

    body = b"a=" + b"b" * 40000
    os.unlink(bench.device.path())
    os.mkfifo(bench.device.path())
    reader = os.open(bench.device.path(), os.O_RDONLY | os.O_NONBLOCK)
    fcntl.fcntl(reader, fcntl.F_SETPIPE_SZ, 4096)
    process = bench.device.start(post(len(body)))
    process.stdin.write(body)
    process.stdin.close()
    process.stdin = None
    wait_until(lambda: waiting(reader) > 0)
    content, full = interrupted_reader(process, reader)
    os.close(reader)
    complaints = [] if (content, process.stdout.read()) == (settings_text((b"a", body[2:])), redirect("stopped")) else ["text or answer changed"]
    bench.record("short writes", request, "settings through a small pipe", complaints + ["there were none"] * (full < 5))


def limits(bench, request, right):
    """What the kernel refuses by itself: the size of a file, and descriptors."""
    for kind, values in ((resource.RLIMIT_FSIZE, (0, 1, len(NEW) - 1)), (resource.RLIMIT_NOFILE, range(6))):
        for value in values:
            def limit(kind=kind, value=value):
                resource.setrlimit(kind, (value, value))

            outcome = bench.run(request, preexec_fn=limit)
            where = {"identity", "table"} if kind == resource.RLIMIT_NOFILE else {}
            complaints = complaints_of(request, right, outcome, where)
            if kind == resource.RLIMIT_FSIZE and outcome.settings == right.settings != OLD:
                complaints.append("the limit was not met")
            title = "file size limit (short write, EFBIG)" if kind == resource.RLIMIT_FSIZE else "descriptor limit"
            bench.record(title, request, "limit %d" % value, complaints + ["left %s" % name for name in outcome.left])


def print_table(bench):
    print("%-40s %8s %8s" % ("fault", "tried", "kept"))
    for title in sorted(bench.tried):
        print("%-40s %8d %8d" % (title, bench.tried[title], bench.kept[title]))
    print("%-40s %8d %8d" % ("all", sum(bench.tried.values()), sum(bench.kept.values())))
    for line in bench.broken:
        print("BROKEN " + line)


def give_up(*_):
    raise TimeoutError("a request hangs")


def main():
    signal.signal(signal.SIGALRM, give_up)
    bench = Bench()
    try:
        for request in requests():
            print("%s ..." % request.title, file=sys.stderr)
            right = bench.traced(request)
            if position(right.calls, BEGIN) is None:
                raise LookupError("the program's own first call is not known")
            every_call_fails(bench, request, right)
            allocations_fail(bench, request)
            if not PROFILED and not request.title.endswith(("elsewhere", "refuses")):  # written in place: a kill may come in between
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
