"""The program from outside: real processes, the real process table and killall, every byte of the answer."""
import fcntl
import os
import re
import shutil
import signal
import stat
import subprocess
import unittest

from harness import (CAN_TRACE, FORM_TYPE, IS_EMULATED, IS_ROOT, PROGRAM, Device, GuardedTest, access_list,
                     get, is_sanitized, is_sleeping, needs_strace, post, read, redirect, settings_text,
                     wait_until)

OLD = settings_text((b"old", b"text"))
NEW = settings_text((b"new", b"1"))
MEBIBYTE = 1 << 20
NOBODY = 65534
ACCESS_LIST = "system.posix_acl_access"


def inject(fault):
    return ["strace", "-qqfo", os.devnull, "-e", "inject=" + fault]


class ProgramTest(GuardedTest):
    def check(self, device, word, settings=NEW, env=None, body=b"new=1", **options):
        """One request: the whole answer, the whole settings file, and no other file left."""
        answer = device.run(env or post(len(body)), body, **options)
        self.assertEqual(answer, (0, redirect(word), settings))
        self.assertEqual(device.extra_files(), set())

    def check_unsignalled(self, application):
        application.terminate()  # of two signals that wait for a process, SIGUSR1 would come first
        self.assertEqual(application.wait(), -signal.SIGTERM)


class RequestTest(ProgramTest):
    REFUSAL = b"Content-Type: text/plain\r\n\r\nUnknown request type.\n"

    def test_other_requests_are_refused_and_save_nothing(self):
        device = Device(self)
        application = device.application()
        requests = [(method, None) for method in ("get", "HEAD", "GET ", "", None)]
        requests += [(method, FORM_TYPE) for method in ("post", "PUT", None)]
        requests += [("POST", kind) for kind in (None, "", FORM_TYPE + " ", FORM_TYPE + "; charset=UTF-8",
                                                 FORM_TYPE.title(), "text/plain")]
        for method, kind in requests:
            for length in ("3", "9223372036854775807", "-1", "abc", None):
                with self.subTest(method=method, kind=kind, length=length):
                    env = {"REQUEST_METHOD": method, "CONTENT_TYPE": kind, "CONTENT_LENGTH": length,
                           "QUERY_STRING": "a=1"}
                    self.assertEqual(device.run(env, b"a=1"), (1, self.REFUSAL, None))
        self.check_unsignalled(application)

    def test_refused_post_is_answered_before_its_body_and_then_reads_all_of_it(self):
        request = Device(self).start(post(300000, CONTENT_TYPE="text/plain"))
        self.assertEqual(request.stdout.read(len(self.REFUSAL)), self.REFUSAL)
        request.stdin.write(bytes(300000))
        request.stdin.flush()  # it stays open: the announced length ends the body
        self.assertEqual((request.wait(), request.stdout.read()), (1, b""))

    def test_options_are_answered_only_outside_a_request(self):
        version, usage = rb"saveSettings (\d+\.){2}\d+\n", rb"Usage: saveSettings [^\0]+\n"
        refusal = re.escape(self.REFUSAL)
        for arguments, status, output in [
                ("--version", 0, version), ("--help", 0, usage), ("x --version --help", 0, version),
                ("--versions", 1, refusal), ("version", 1, refusal), ("''", 1, refusal)]:
            with self.subTest(arguments):
                device, options = Device(self), {"wrap": ["sh", "-c", f'exec "$0" {arguments}']}
                answer = device.run({}, **options)
                self.assertTrue(re.fullmatch(output, answer.output), answer)
                self.assertEqual((answer.status, answer.settings), (status, None))
                self.assertEqual(device.run({"REQUEST_METHOD": ""}, **options), (1, self.REFUSAL, None))
                self.check(device, "stopped", **options)
        self.assertEqual(device.run({}, wrap=["sh", "-c", 'exec "$0" --help >/dev/full']).status, 1)

    # Referer, and the address before and after "success=...", whose place shows the order of the parameters.
    ACCEPTED = [
        (b"http://192.0.2.1/setup.html?tab=3", b"http://192.0.2.1/setup.html", b"&tab=3"),
        (b"https://u%40x:p%3Aw@h:8080/p", b"https://u%40x:p%3Aw@h:8080/p", b""),
        (b"http://h/p?%73uccess=a&zz=1", b"http://h/p", b"&zz=1"), (b"http://h/", b"http://h", b""),
        (b"http://h/?a=1", b"http://h?a=1&success=false", None), (b"/setup.html", b"/setup.html", b""),
        (b"http://:p%0Aw@h/p", b"http://h/p", b""), (b"http://h/p#top?x#y=1", b"http://h/p#top", b"&x#y=1"),
        (b"http://h/p?t=a+b&u=a%2Bb%26c%3D&flag", b"http://h/p", b"&t=a b&u=a%2Bb%26c="),
    ]
    REJECTED = [b"", None, b"page.html", b"\nhttp://h/p", b"http://h/p%0D%0AX-A: b", b"http://h/p\r\nX-A: b",
                b"http://h/%00", b"http://h/%1F", b"http://h/%7F", b"http://h/?a=%0A", b"http://h/?%0a=1",
                b"http://h%0d/", b"ht%0Dtp://h/p", b"http://u%0A@h/p", b"http://u:p%0A@h/p"]

    def test_location(self):
        device = Device(self, marker=None)
        for referer, before, after in self.ACCEPTED + [(other, b"", b"") for other in self.REJECTED]:
            location = b"Location: %s\r\n\r\n" % before if after is None else redirect("false", before, after)
            with self.subTest(referer=referer):
                self.assertEqual(device.run(get("a=1", HTTP_REFERER=referer))[:2], (0, location))


class FormTest(ProgramTest):
    CASES = [  # a form, and the names and values of its fields
        (b"", []), (b"&&a=1&&b=2&", [(b"a", b"1"), (b"b", b"2")]), (b"=", [(b"", b"")]),
        (b"b=2&a=1&B=3", [(b"a", b"1"), (b"b", b"2")]), (b"FLAG%21", [(b"flag!", b"FLAG!")]),
        (b"a%2Bb=%2B+c=%3Cd%3E", [(b"a+b", b"++c=<d>")]), (b"k=%4&l=", [(b"k", b"%4"), (b"l", b"")]),
        (b"a=1&%41=%4a", [(b"A", b"J"), (b"a", b"1")]), (b"a=1\0&b=2", [(b"a", b"1")]),
        (b"\xc4=\xff\x80&a%00b=1%002", [(b"a\0b", b"1\x002"), (b"\xc4", b"\xff\x80")]),
        (b"t= \t\r\n.", [(b"t", b" \t\r\n.")]),
    ]

    def test_fields_are_stored_as_decoded_in_name_order_and_the_first_stays(self):
        for form, fields in self.CASES:
            for env in [post(len(form), QUERY_STRING="other=1")] + ([] if b"\0" in form else [get(form)]):
                with self.subTest(form=form, method=env["REQUEST_METHOD"]):
                    self.check(Device(self), "stopped", settings_text(*fields), env, form)
        no_query = get(None, CONTENT_TYPE=FORM_TYPE, CONTENT_LENGTH="5")
        self.check(Device(self), "stopped", settings_text(), no_query)

    def test_body_ends_after_the_announced_length(self):
        for fields, lengths in [
                ([(b"a", b"1"), (b"b", b"23")],
                 ("8", " 8", "\t+8", "008", "8x", "9", "4000", str(2**63 - 1), str(10**20))),
                ([(b"a", b"1"), (b"b", b"2")], ("7",)), ([(b"a", b"a")], ("1",)),
                ([], ("0", "", None, "abc", "-1", "-8", str(-2**63), str(-10**20)))]:
            for length in lengths:
                with self.subTest(length=length):
                    env = {**post(0), "CONTENT_LENGTH": length}
                    self.check(Device(self), "stopped", settings_text(*fields), env, b"a=1&b=23")

    def test_large_forms(self):
        for count, size in ((10000, 1), (1, 16 * MEBIBYTE)):
            fields = [(b"%05d" % number, b"x" * size) for number in range(count)]
            answer = Device(self).save(b"&".join(b"%s=%s" % field for field in reversed(fields)))
            self.assertTrue(answer == (0, redirect("stopped"), settings_text(*fields)), answer.output)

    @unittest.skipIf(is_sanitized() or IS_EMULATED, "its memory is then not its own")
    def test_memory_grows_with_the_bytes_received(self):
        for announced in (MEBIBYTE << 9, 2**63 - 2, 2**63 - 1):
            limit = ["prlimit", f"--as={64 * MEBIBYTE}"]
            self.check(Device(self), "stopped", env=post(announced), wrap=limit)


class StatusTest(ProgramTest):
    def test_application_that_is_not_identified_is_not_signalled(self):
        for options in [{"marker": None}, {"marker": b""}, {"marker": b"zd"}, {"web": "www"}, {"web": "HTML"},
                        {"web": "html2"}] + [{"base": "/"}] * IS_ROOT:  # /name/html: too few pieces
            with self.subTest(**options):
                device = Device(self, **options)
                application = device.application()
                self.check(device, "false")
                self.check_unsignalled(application)

    def test_application_gets_the_signal(self):
        for options, env, run in [
                ({}, {}, {}), ({}, {"PATH": None}, {}), ({}, {"PATH": ""}, {}),
                ({"suffix": "-longer-than-the-kernel-keeps"}, {}, {}),
                ({"marker": b"my%s2"}, {}, {}), ({"marker": b"\0\n" * 9000 + b"%s"}, {}, {}),
                ({}, {}, {"preexec_fn": lambda: signal.signal(signal.SIGCHLD, signal.SIG_IGN)})]:
            with self.subTest(**options, **env, **run):
                device = Device(self, **options)
                applications = [device.application(), device.application()]
                self.check(device, "restarted", env={**get("new=1"), **env}, **run)
                self.assertEqual([each.wait() for each in applications], [-signal.SIGUSR1] * 2)
                self.check(device, "stopped")

    def test_application_is_found_by_its_first_argument(self):
        found = ["%s", "./%s", "/x/%s\nmore", "/" + "d/" * 4500 + "%s"]
        not_found = ["/x/other", "/x/%s2", "/x/my%s", "/x/%s/", "/x/%s/other", "", "\n/x/%s", "/x\n/%s",
                     "-%s", " %s"]
        for block in (64, 128, 256, 512, 1024, 4096):  # one of these is likely the size of a read
            found.append("/" + "d" * (block - 7) + "/%s")
            not_found.append("/" + "d" * (block - 1) + "%s")
        for argument in found + not_found:
            with self.subTest(argument=argument[-20:], length=len(argument)):
                device, is_found = Device(self), argument in found
                second = "z" * 9000 if is_found else f"/x/{device.name}"
                application = device.application(argument.replace("%s", device.name), second)
                self.check(device, "restarted" if is_found else "stopped")
                if not is_found:
                    self.check_unsignalled(application)

    def test_what_killall_is_given_and_what_its_failure_means(self):
        device = Device(self)
        # killall uses the kernel's name of the process, which here differs from the first argument.
        device.application(process_name="another")
        self.check(device, "running", stderr=subprocess.DEVNULL)
        for word, ending in (("restarted", "exit 0"), ("running", "exit 1"), ("running", "kill $$")):
            with self.subTest(ending):
                device = Device(self)
                device.application()
                script = "#!/bin/sh\ncd ..; exec >>calls; echo $@; ls /proc/self/fd; cat html/set*; "
                device.write("../killall", (script + ending).encode(), 0o755)
                env = get("new=1", PATH=f"{device.home}:/usr/bin:/bin")
                self.check(device, word, env=env, stderr=subprocess.DEVNULL)
                # One call, after the save. Descriptor 3 is the folder that `ls` lists.
                self.assertEqual(read(device.home, "calls"),
                                 f"-SIGUSR1 {device.name}\n0\n1\n2\n3\n{NEW.decode()}")


class PlaceTest(ProgramTest):
    """Shared by the tests of how the settings file is replaced."""

    def check_place(self, device, word, replaced, **options):
        """One save: the file is replaced or written in place, and its owner and mode are kept."""
        before = os.lstat(device.path())
        self.check(device, word, OLD if word == "false" else NEW, **options)
        after = os.lstat(device.path())
        for kept in ("st_mode", "st_uid", "st_gid"):
            self.assertEqual(getattr(after, kept), getattr(before, kept), kept)
        self.assertEqual(after.st_ino != before.st_ino, replaced)

    def device_with(self, mode=0o606, owner=1234, group=None):
        device = Device(self, settings=OLD)
        if IS_ROOT:
            os.chown(device.path(), owner, group or owner)
        os.chmod(device.path(), mode)
        return device

    @staticmethod
    def as_user(device, user):
        """Options to run the program as this user, from a copy: only root may have access to the build."""
        program = shutil.copy(PROGRAM, device.scratch)
        return {"program": program, "user": user, "group": user, "extra_groups": []}

    def stopped_at(self, device, fault, **options):
        """Starts a request that stops at a system call; returns the tracer and the request's process id."""
        trace = os.path.join(device.scratch, "trace")
        wrap = ["strace", "-fo", trace, "-e", f"inject={fault}:signal=STOP"]
        tracer = device.start(get("new=1"), wrap=wrap, **options)

        def stopped():
            return os.path.exists(trace) and re.search(r"^(\d+) +--- stopped by SIGSTOP", read(trace), re.M)

        wait_until(lambda: stopped() or tracer.poll() is not None)
        self.assertIsNone(tracer.poll(), "it did not stop at " + fault)
        return tracer, int(stopped()[1])


class SettingsFileTest(PlaceTest):
    def test_mode_and_owner(self):
        for mode, owner, group in [(0o640, 0, 0), (0o640, 0, 1234), (0o666, 0, 0), (0o646, 1234, 1234)]:
            with self.subTest(mode=oct(mode), owner=owner, group=group):
                self.check_place(self.device_with(mode, owner, group), "stopped", True, umask=0o077)
        new = [(Device(self), umask, mode) for umask, mode in ((0o002, 0o664), (0o027, 0o640))]
        special = [(self.device_with(mode), 0o077, mode & 0o777) for mode in (0o4755, 0o2755, 0o1644, 0o7777)]
        for device, umask, mode in new + special:
            with self.subTest(mode=oct(mode)):
                self.check(device, "stopped", umask=umask)
                self.assertEqual(oct(stat.S_IMODE(os.stat(device.path()).st_mode)), oct(mode))

    def test_links_folders_and_pipes_stay_what_they_are(self):
        for old in (OLD, None):
            device = Device(self)
            os.symlink("../real.txt", device.path())
            if old:
                device.write("../real.txt", old)
            self.check_place(device, "stopped", False)
            self.assertFalse(os.path.islink(device.path("../real.txt")))
        device = Device(self)
        os.mkdir(device.path())
        self.check(device, "false", None)
        os.rmdir(device.path())
        os.mkfifo(device.path())
        with open(os.open(device.path(), os.O_RDONLY | os.O_NONBLOCK), "rb") as reader:
            self.check(device, "stopped", None)
            self.assertEqual(reader.read(), NEW)
        self.assertTrue(stat.S_ISFIFO(os.lstat(device.path()).st_mode))

    @unittest.skipUnless(IS_ROOT, "needs root to be several users")
    def test_permissions_of_an_unprivileged_server(self):
        for title, folder_mode, folder_owner, mode, owner, word, replaced in [
                ("all its own", 0o755, NOBODY, 0o644, NOBODY, "stopped", True),
                ("folder that may not be read", 0o300, NOBODY, 0o644, NOBODY, "stopped", True),
                ("folder takes no new file", 0o555, NOBODY, 0o644, NOBODY, "stopped", False),
                ("nor may the old settings be read", 0o555, NOBODY, 0o200, NOBODY, "stopped", False),
                ("read-only file", 0o755, NOBODY, 0o444, NOBODY, "false", False),
                ("owner cannot be kept", 0o755, NOBODY, 0o666, 0, "stopped", False),
                ("others' file in a sticky folder", 0o1777, 0, 0o666, 0, "stopped", False),
                ("others' read-only file", 0o777, 0, 0o644, 0, "false", False)]:
            with self.subTest(title):
                device = self.device_with(mode, owner)
                os.chown(device.html, folder_owner, folder_owner)
                os.chmod(device.html, folder_mode)
                self.check_place(device, word, replaced, **self.as_user(device, NOBODY))

    @needs_strace
    @unittest.skipUnless(IS_ROOT, "needs root to be another user")
    def test_folder_that_may_not_be_read_is_flushed_with_its_file_system(self):
        for word, faults in (("stopped", "syncfs:delay_enter=1"), ("false", "syncfs:error=EIO")):
            device = Device(self)
            os.chown(device.html, NOBODY, NOBODY)
            os.chmod(device.html, 0o333)
            self.check(device, word, wrap=inject(faults), **self.as_user(device, NOBODY))

    @needs_strace
    def test_faults_of_the_device_and_refusals_of_the_folder(self):
        full = ["/sync$:error=EIO", "/sync$:error=ENOSPC"]
        errors = ("ENOSPC", "EDQUOT", "EFBIG", "EIO", "ENOMEM", "EMFILE", "ENFILE")
        full += [f"/^rename:error={error}" for error in errors]
        if not is_sanitized():  # a sanitizer writes, too
            full += [f"write:error={error}:when=1" for error in ("ENOSPC", "EIO", "EDQUOT")]
        refused = ["/^rename:error=EPERM", "/^rename:error=EACCES", "/^f?chmod:error=EPERM"]
        refused += ["/chown:error=EPERM"] * IS_ROOT
        harmless = ["/sync$:error=EINVAL", "/sync$:error=EINTR:when=1"]
        for fault in full + refused + harmless:
            with self.subTest(fault):
                word = "false" if fault in full else "stopped"
                self.check_place(self.device_with(), word, fault in harmless, wrap=inject(fault))
        if IS_ROOT:  # only the group differs
            device = self.device_with(owner=0, group=1234)
            self.check_place(device, "stopped", False, wrap=inject("/chown:error=EPERM"))

    def test_body_that_cannot_be_read_leaves_the_old_settings(self):
        folder = os.open("/", os.O_RDONLY)
        self.addCleanup(os.close, folder)
        device = Device(self, settings=OLD)
        self.check(device, "false", OLD, stdin=folder)
        self.assertEqual(device.errors, "saveSettings: request body: Is a directory\n")

    def test_directory_may_be_descriptor_0(self):
        device = self.device_with()
        self.check_place(device, "stopped", True, env=get("new=1"), preexec_fn=lambda: os.close(0))

    def test_file_dated_beyond_32_bits(self):
        device = Device(self, settings=OLD)
        os.utime(device.path(), (1 << 32, 1 << 32))
        self.check(device, "stopped")

    def test_only_temporary_files_that_nobody_holds_are_cleared(self):
        device = Device(self)
        prefix = ".settings_xml.txt.saving-"
        kept = {"settings_xml.txt" + ending for ending in ("2", ".", ".0", ".20261123", ".x1", "-1")}
        kept |= {prefix + ending for ending in ("", "0" * 15, "0" * 17, "A" * 16, "0" * 15 + "g")}
        others = (prefix[1:], "," + prefix[1:], prefix[:-2] + "G-", ".other.txt.saving-",
                  ".settings_xml.bak.saving-")
        kept |= {other + "0" * 16 for other in others}
        held, linked, folder, pipe = (prefix + digit * 16 for digit in "abcd")
        for name in kept | {held} | {prefix + digit * 16 for digit in "019f"}:
            device.write(name, b"")
        os.symlink(device.path("pid.cgi"), device.path(linked))
        os.mkdir(device.path(folder))
        os.mkfifo(device.path(pipe))
        self.addCleanup(os.close, os.open(device.path(pipe), os.O_RDONLY | os.O_NONBLOCK))
        with open(device.path(held), "rb") as file:
            fcntl.flock(file, fcntl.LOCK_EX)
            answer = device.run(get("new=1"))
        self.assertEqual(answer, (0, redirect("stopped"), NEW))
        self.assertEqual(device.extra_files(), kept | {held, linked, folder, pipe})

    @needs_strace
    def test_temporary_file_of_a_running_request_is_left_alone(self):
        device = Device(self, settings=OLD)
        other = shutil.copy(PROGRAM, device.path("../another-name"))
        tracer, request = self.stopped_at(device, "/sync$:when=1", program=other)
        temporary = device.extra_files()
        self.assertEqual(device.save(b"a=1"), (0, redirect("stopped"), settings_text((b"a", b"1"))))
        self.assertEqual((len(temporary), device.extra_files()), (1, temporary))
        os.kill(request, signal.SIGCONT)
        self.assertEqual((tracer.stdout.read(), device.settings), (redirect("stopped"), NEW))
        self.assertEqual(device.extra_files(), set())

    @needs_strace
    def test_file_that_was_renamed_while_it_was_locked_is_not_removed(self):
        device, left = Device(self), ".settings_xml.txt.saving-" + "0" * 16
        device.write(left, b"renamed")
        tracer, request = self.stopped_at(device, "flock:when=1")
        os.rename(device.path(left), device.path("renamed"))
        device.write(left, b"another")
        os.kill(request, signal.SIGCONT)
        self.assertEqual(tracer.stdout.read(), redirect("stopped"))
        self.assertEqual(device.extra_files(), {left, "renamed"})


class AttackTest(PlaceTest):
    """Other users of the device; permissions and attributes that must be kept."""

    @needs_strace
    def test_link_put_in_the_place_of_the_temporary_file_is_not_written_through(self):
        device = Device(self, settings=OLD)
        device.write("../victim", b"precious")
        tracer, request = self.stopped_at(device, "flock:when=1")
        (temporary,) = device.extra_files()
        os.unlink(device.path(temporary))
        os.symlink("../victim", device.path(temporary))
        os.kill(request, signal.SIGCONT)
        tracer.wait()
        self.assertEqual(read(device.home, "victim"), "precious")

    @needs_strace
    def test_temporary_file_is_private_until_it_is_complete(self):
        device = self.device_with(0o604)
        _, request = self.stopped_at(device, "llistxattr:when=1")
        self.addCleanup(os.kill, request, signal.SIGKILL)
        (temporary,) = device.extra_files()
        self.assertRegex(temporary, r"^\.")
        self.assertEqual(stat.S_IMODE(os.stat(device.path(temporary)).st_mode), 0o600)

    @unittest.skipUnless(IS_ROOT, "needs root to be several users")
    def test_link_is_followed_only_if_root_or_the_user_owns_it(self):
        real = "../real.txt"
        for user, owner, target, word in [
                (0, 0, real, "stopped"), (0, 1234, real, "false"), (NOBODY, 0, real, "stopped"),
                (NOBODY, NOBODY, "%s", "stopped"), (NOBODY, 1234, real, "false"), (0, 0, "link", "false")]:
            with self.subTest(user=user, owner=owner, target=target):
                device = Device(self)
                device.write(real, OLD)
                os.chown(device.path(real), user, user)
                os.symlink(target.replace("%s", device.path(real)), device.path())
                os.lchown(device.path(), owner, owner)
                if target == "link":  # to a second link
                    os.symlink(real, device.path(target))
                    os.lchown(device.path(target), 1234, 1234)
                answer = device.run(get("new=1"), **self.as_user(device, user))
                self.assertEqual(answer.output, redirect(word))
                saved = NEW if word == "stopped" else OLD
                self.assertEqual(read(device.home, "real.txt"), saved.decode())

    @needs_strace
    def test_link_exchanged_after_the_check_is_not_followed(self):
        device = Device(self)
        for name in ("../real.txt", "../victim"):
            device.write(name, OLD)
        os.symlink("../real.txt", device.path())
        tracer, request = self.stopped_at(device, "/^readlinkat:when=1")
        os.unlink(device.path())
        os.symlink("../victim", device.path())
        os.kill(request, signal.SIGCONT)
        self.assertEqual((tracer.stdout.read(), device.settings), (redirect("stopped"), OLD))

    @staticmethod
    def attributes(device):
        return {name: os.getxattr(device.path(), name) for name in os.listxattr(device.path())}

    @unittest.skipUnless(IS_ROOT, "needs root to be several users")
    def test_access_list_and_attributes_are_kept(self):
        narrow, other = access_list(0o600, 1234), access_list(0o660, 4321)
        own = {ACCESS_LIST: access_list(0o640, 1234)}
        security = {"security.ima": b"1", "security.evm": b"1",
                    "security.capability": b"\1\0\0\2" + bytes(16)}
        for title, attributes, default, fault in [
                ("none", {}, None, None), ("list", own, None, None),
                ("both", {ACCESS_LIST: narrow, "user.a": b"", "user.b": bytes(300)}, None, None),
                ("the folder's default is not used", {}, other, None),
                ("a list and a default of the folder", own, other, None),
                ("same as the folder's default", {ACCESS_LIST: narrow}, narrow, "fsetxattr:error=EPERM"),
                ("of the old content", security, None, None),
                ("attributes and a default of the folder", {"user.a": b"1"}, other, None),
                ("the folder's default cannot be removed", {}, other, "/^fremovexattr:error=EPERM"),
                ("cannot be listed", {"user.a": b"1"}, None, "/^llistxattr:error=EACCES"),
                ("cannot be read", {"user.a": b"1"}, None, "/^lgetxattr:error=EACCES:when=2"),
                ("cannot be kept", {"user.a": b"1"}, None, "fsetxattr:error=EPERM")]:
            with self.subTest(title):
                device = self.device_with(0o640)
                for name, value in attributes.items():
                    os.setxattr(device.path(), name, value)
                if default:
                    os.setxattr(device.html, "system.posix_acl_default", default)
                if not fault or CAN_TRACE:
                    is_replaced = not fault or title.startswith("same")
                    self.check_place(device, "stopped", is_replaced, wrap=inject(fault) if fault else [])
                    kept = {name: attributes[name] for name in attributes if not name.startswith("security.")}
                    self.assertEqual(self.attributes(device), kept)

    @unittest.skipUnless(IS_ROOT, "needs root to be several users")
    def test_first_save_gets_the_default_access_list(self):
        device, expected = Device(self), Device(self)
        for each in (device, expected):
            os.setxattr(each.html, "system.posix_acl_default", access_list(0o660, 1234))
        expected.write("settings_xml.txt", NEW)
        self.check(device, "stopped", umask=0o077)
        self.assertEqual(self.attributes(device), self.attributes(expected))

    def test_large_form_makes_the_program_the_first_to_be_killed(self):
        for length, score in ((65536, 0), (65537, 1000)):
            request = Device(self).start(post(length), wrap=["choom", "-n", "0", "--"])
            request.stdin.write(bytes(10))
            request.stdin.flush()
            wait_until(lambda: is_sleeping(request.pid))
            self.assertEqual(int(read(f"/proc/{request.pid}/oom_score_adj")), score)


class DiagnosticsTest(ProgramTest):
    @needs_strace
    @unittest.skipIf(is_sanitized(), "a sanitizer writes, too")
    def test_each_failure_has_its_line(self):
        full = "settings_xml.txt: No space left on device"
        unknown = "pid.cgi: does not mention the application"
        for fault, line, options in [
                ("write:error=ENOSPC:when=1", full, {}), ("/sync$:error=ENOSPC:when=1", full, {}),
                ("/^rename:error=ENOSPC", full, {}),
                ("/sync$:error=ENOSPC:when=2", ".: No space left on device", {}),
                (None, "pid.cgi: No such file or directory", {"marker": None}),
                (None, unknown, {"marker": b"other"}), (None, unknown, {"marker": b""}),
                (None, "%s: is not the folder html of an application", {"web": "www"}),
                ("getcwd:error=ENOENT", "working directory: No such file or directory", {})]:
            with self.subTest(fault=fault, **options):
                device, wrap = Device(self, settings=OLD, **options), inject(fault) if fault else ()
                self.assertEqual(device.run(post(5), b"new=1", wrap=wrap).output, redirect("false"))
                self.assertEqual(device.errors, f"saveSettings: {line.replace('%s', device.html)}\n")

    def test_what_killall_prints_reaches_standard_error_and_never_the_response(self):
        for status, word in ((0, "restarted"), (1, "running")):
            device = Device(self)
            device.application()
            device.write("../killall", b"#!/bin/sh\necho out\necho err >&2\nexit %d\n" % status, 0o755)
            env = get("a=1", PATH=f"{device.home}:/usr/bin:/bin")
            self.assertEqual(device.run(env).output, redirect(word))
            said = "out\nerr\n"
            if status:
                said += f"saveSettings: killall -SIGUSR1 {device.name}: failed with exit status 1\n"
            self.assertEqual(device.errors, said)
            request = device.start(env, stderr=subprocess.PIPE)  # not the response's pipe
            self.assertEqual(request.communicate(), (redirect(word), said.encode()))
            self.assertEqual(device.run(env, stderr=subprocess.STDOUT).output, redirect(word))


class DescriptorTest(ProgramTest):
    def test_non_blocking_standard_input_is_waited_for(self):
        device, (reader, writer) = Device(self), os.pipe()
        os.set_blocking(reader, False)
        with open(reader, "rb") as stdin, open(writer, "wb", buffering=0) as body:
            request = device.start(post(5), stdin=stdin)
            for piece in (b"ne", b"w=1"):
                wait_until(lambda: is_sleeping(request.pid) or request.poll() is not None)
                body.write(piece)
            self.assertEqual((request.stdout.read(), device.settings), (redirect("stopped"), NEW))

    @needs_strace
    def test_wait_for_standard_input_that_is_interrupted_or_fails(self):
        for error, word, settings in (("EINTR", "stopped", NEW), ("ENOMEM", "false", None)):
            device, (reader, writer) = Device(self), os.pipe()
            os.set_blocking(reader, False)
            device.write("../trace", b"")
            wrap = ["strace", "-fo", device.path("../trace"), "-e", f"inject=/^p?poll$:error={error}:when=1"]
            with open(reader, "rb") as stdin, open(writer, "wb", buffering=0) as body:
                request = device.start(post(5), stdin=stdin, wrap=wrap)
                wait_until(lambda: "INJECTED" in read(device.home, "trace") or request.poll() is not None)
                body.write(b"new=1")
                self.assertEqual((request.stdout.read(), device.settings), (redirect(word), settings))

    def test_answer_into_a_full_non_blocking_pipe_is_whole(self):
        page = b"http://h/" + b"p" * 60000
        device, (reader, writer) = Device(self), os.pipe()
        fcntl.fcntl(writer, fcntl.F_SETPIPE_SZ, 4096)
        os.set_blocking(writer, False)
        with open(reader, "rb") as answer:
            env = get("new=1", HTTP_REFERER=page)
            request = subprocess.Popen([PROGRAM], cwd=device.html, env=env, stdout=writer)
            os.close(writer)
            wait_until(lambda: is_sleeping(request.pid) or request.poll() is not None)
            self.assertEqual((answer.read(), request.wait()), (redirect("stopped", page), 0))

    @unittest.skipUnless(IS_ROOT and not is_sanitized(), "needs a /proc of its own, and so does a sanitizer")
    def test_process_numbers_are_read_as_strtol_reads_them(self):
        for entry, word in ((" 7", "running"), ("+7", "running"), ("7x", "running"), ("x7", "stopped"),
                            ("-7", "stopped"), ("0", "stopped")):
            device = Device(self)
            for name, program in (("1000001", b"x"), (entry, device.name.encode()), ("1000002", b"x")):
                os.makedirs(device.path("../proc/" + name))
                device.write(f"../proc/{name}/cmdline", b"/x/%s\0" % program)
            mount = ["unshare", "-m", "sh", "-c", 'mount --bind ../proc /proc && exec "$0"']
            with self.subTest(entry):
                self.check(device, word, wrap=mount)


if __name__ == "__main__":
    unittest.main()
