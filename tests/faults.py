"""Runs a program and lets one of its system calls or allocations fail, or kills or stops it there. The calls are
handed over by the kernel to this process (see faults.cpp), which says what becomes of each."""
import collections
import errno
import fcntl
import os
import pathlib
import select
import socket
import stat
import struct
import subprocess
import tempfile
import time

from desktop import wait_for

LIBRARY = os.environ["FAULTS_LIBRARY"]
LIMIT = 60.0
_RECEIVE, _SEND = 0xC0502100, 0xC0182101  # the kernel's requests for the next call and for its answer
_CONTINUE = 1

_PATH = "EIO ENOMEM EACCES"
_CHANGE = "EIO ENOSPC ENOMEM EACCES EROFS"
_MAKE = "EMFILE ENOMEM"
_WAIT = "EINTR ENOMEM"
# The errors that a call can give. A call that is not named here is only a place to be killed or stopped at.
ERRORS = {name: errors.split() for names, errors in (
    ("open openat openat2 creat", "EIO ENOSPC EINTR EMFILE ENOMEM EACCES EROFS"),
    ("stat lstat newfstatat statx access faccessat faccessat2 readlink readlinkat statfs getcwd", _PATH),
    ("fstat fstatfs lseek flistxattr fgetxattr", "EIO ENOMEM"),
    ("read pread64 readv getdents64", "EIO EINTR ENOMEM"),
    ("write pwrite64 writev sendfile copy_file_range ftruncate fallocate", "EIO ENOSPC EINTR ENOMEM"),
    ("fsync fdatasync syncfs sync_file_range msync", "EIO ENOSPC EINTR EROFS"),
    ("rename renameat renameat2 link linkat symlink symlinkat unlink unlinkat rmdir mkdir mkdirat", _CHANGE),
    ("fchmod chmod fchmodat fchown chown fchownat utimensat fsetxattr", "EIO ENOMEM EACCES EROFS"),
    ("flock", "EINTR ENOMEM"),
    ("fcntl dup dup2 dup3", "EINTR EMFILE"),
    ("mmap", "ENOMEM EACCES"),
    ("memfd_create pipe pipe2 inotify_init1 eventfd2 timerfd_create signalfd4 epoll_create1 socket socketpair", _MAKE),
    ("inotify_add_watch epoll_ctl", "ENOSPC ENOMEM"),
    ("poll ppoll select pselect6", _WAIT),
    ("getrandom epoll_wait epoll_pwait", "EINTR"),
    ("connect", "ECONNREFUSED ETIMEDOUT EINTR"),
    ("sendto recvfrom", "ECONNRESET ENOMEM EINTR"),
    ("pidfd_open", _MAKE),
    ("clone clone3 fork vfork execve", "ENOMEM"),
) for name in names.split()}

_TO_CHANGE = os.O_WRONLY | os.O_RDWR | os.O_CREAT
Call = collections.namedtuple("Call", "name occurrence")  # the first, second... call of that name; of programs that it started "started openat"
Request = collections.namedtuple("Request", "call arguments pid")
Outcome = collections.namedtuple("Outcome", "code output error calls")  # the calls, and the errors each can give


def errors_of(request):
    """The errors that a call can give."""
    name = request.call.name.removeprefix("started ")
    errors = ERRORS.get(name, [])
    if name in ("read", "write") and not _is_file(request):
        return [error for error in errors if error == "EINTR"]  # pipes and the like have no disk
    flags = {"openat": 2, "open": 1}.get(name)
    if name == "openat2" or flags and not request.arguments[flags] & _TO_CHANGE:
        return [error for error in errors if error not in ("ENOSPC", "EROFS")]
    return errors


def text_at(request, number):
    """The text that an argument points to."""
    with open(f"/proc/{request.pid}/mem", "rb", 0) as memory:
        return os.pread(memory.fileno(), 4096, request.arguments[number]).partition(b"\0")[0].decode()


def _is_file(request):
    try:
        return stat.S_ISREG(os.stat(f"/proc/{request.pid}/fd/{request.arguments[0]}").st_mode)
    except OSError:
        return False


class Handover:
    """The calls of one program. `decide(request)` is asked before each and answers an error's name, or None to let the
    call go on; it may also end or stop the process."""

    def __init__(self, decide):
        self.decide = decide
        self.calls = {}
        self.counts = collections.Counter()
        self.ours, self.theirs = socket.socketpair()
        self.ours.settimeout(LIMIT)
        self.listener = None

    def listen(self):
        names, descriptors, _, _ = socket.recv_fds(self.ours, 65536, 1)
        self.ours.close()
        if not descriptors:
            return False
        self.names = {int(number): name for name, number in (pair.split("=") for pair in names.decode().split())}
        self.listener = descriptors[0]
        self.poll = select.poll()
        self.poll.register(self.listener, select.POLLIN)
        return True

    def serve(self, process, deadline, are_others_over):
        """Until the process has ended and those that it has started are over, or the time is up."""
        end = os.pidfd_open(process.pid)
        try:
            self.poll.register(end, select.POLLIN)
            self.answer_all(process, end, deadline, are_others_over)
        finally:
            os.close(end)

    def answer_all(self, process, end, deadline, are_others_over):
        while True:
            ready = dict(self.poll.poll(1000 * max(0.0, deadline - time.monotonic())))
            if not ready.get(self.listener, 0) & select.POLLIN:
                if ready.get(self.listener) and end not in ready:
                    self.poll.unregister(self.listener)  # nobody is left that calls
                    continue
                if ready.get(self.listener) or are_others_over() or time.monotonic() > deadline:
                    return
                time.sleep(0.001)
                continue
            request = bytearray(80)
            try:
                fcntl.ioctl(self.listener, _RECEIVE, request)
            except OSError:  # its caller was killed or interrupted meanwhile
                continue
            number, thread, _, call, _, _, *arguments = struct.unpack("=QIIiIQ6q", request)
            self.answer(number, self.verdict(process, thread, self.names[call], arguments))

    def verdict(self, process, thread, name, arguments):
        is_started_by_it = not os.path.exists(f"/proc/{process.pid}/task/{thread}")
        place = "started " + name if is_started_by_it else name
        self.counts[place] += 1
        request = Request(Call(place, self.counts[place]), arguments, thread if is_started_by_it else process.pid)
        self.calls[request.call] = errors_of(request)
        return self.decide(request)

    def answer(self, number, error):
        code = -getattr(errno, error) if error else 0
        response = struct.pack("=QqiI", number, 0, code, 0 if error else _CONTINUE)
        try:
            fcntl.ioctl(self.listener, _SEND, bytearray(response))
        except OSError:  # its caller was killed or stopped meanwhile; stopped, it will ask again
            pass

    def close(self):
        self.ours.close()
        self.theirs.close()
        if self.listener is not None:
            os.close(self.listener)


def run(command, environment, decide=lambda request: None, input=b"", limit=LIMIT, failing_allocation=None,
        console=tempfile.TemporaryFile, are_others_over=lambda: True):
    """Runs a program to its end, and where it was killed until those that it has started, which go on, are over. With
    `failing_allocation` no call is handed over; zero only counts, and the count is what `calls` then is. The code of a
    program that did not end in time is None."""
    with tempfile.TemporaryFile() as output, console() as error, \
            tempfile.TemporaryFile() as given, tempfile.NamedTemporaryFile() as counted:
        given.write(input)
        given.seek(0)
        environment = {**environment, "LD_PRELOAD": LIBRARY}
        handover = Handover(decide)
        if failing_allocation is None:
            environment["FAULTS_SOCKET"] = str(handover.theirs.fileno())
        else:
            counted.write(struct.pack("=QQ", 0, failing_allocation))
            counted.flush()
            environment["FAULTS_ALLOCATIONS"] = counted.name
        process = subprocess.Popen(command, env=environment, stdin=given, stdout=output, stderr=error,
                                   pass_fds=[handover.theirs.fileno()])
        handover.theirs.close()
        deadline = time.monotonic() + limit
        try:
            if failing_allocation is None and handover.listen():
                handover.serve(process, deadline, are_others_over)
            code = process.wait(max(1.0, deadline - time.monotonic()))
        except subprocess.TimeoutExpired:
            code = None
        finally:
            process.kill()
            process.wait()
            handover.close()
        output.seek(0)
        error.seek(0)
        calls = handover.calls
        if failing_allocation is not None:
            calls = struct.unpack("=Q", pathlib.Path(counted.name).read_bytes()[:8])[0]
        return Outcome(code, output.read().decode(), error.read().decode(), calls)


def wait_until_stopped(pid):
    """Or ended."""
    def is_stopped():
        try:
            return pathlib.Path(f"/proc/{pid}/stat").read_text().rpartition(")")[2].split()[0] in "TZX"
        except OSError:
            return True

    wait_for("a stopped process", is_stopped, pause=0.001)


def wait_until_ended_or_locked(process):
    """Until a process has ended, or waits for a file's lock."""
    waits = f" {process.pid} "

    def is_so():
        locks = pathlib.Path("/proc/locks").read_text().splitlines()
        return process.poll() is not None or any("->" in line and waits in line for line in locks)

    wait_for("another process's end or lock", is_so, pause=0.001)
