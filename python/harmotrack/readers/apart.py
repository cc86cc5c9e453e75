"""Reading in a process of its own, for libraries that a damaged file makes crash, hang or take all
memory.

A server process is started at the first need. It imports what a kind of file needs once, and forks
a worker for each file, with limits of its own: a file costs a fork, some milliseconds, and no crash
reaches the process that asked. The server has one thread, which makes forking safe there, as it is
not in a process that may have many. Arrays come back through memory that has a name in no folder:
nothing is left behind, whoever dies.
"""

from __future__ import annotations

import atexit
import os
import pickle
import signal
import socket
import subprocess
import sys
import threading
from contextlib import suppress
from dataclasses import dataclass
from importlib import import_module
from mmap import ACCESS_COPY, mmap
from pathlib import Path
from typing import Any

from harmotrack.errors import HarmotrackError

_IDLE_SECONDS = 60.0  #: without work, after which a server ends
_LARGEST_MESSAGE = 1 << 16  #: bytes
_ALIGNMENT = 64
_LEAST_MAPPED = 1 << 24  #: bytes
_START = (
    "import sys; sys.path[:] = sys.argv[2:]; from harmotrack.readers.apart import serve; "
    "serve(int(sys.argv[1]))"
)
#: A fork is safe in a process without other threads alone.
_ONE_THREAD = {f"{name}_NUM_THREADS": "1" for name in ("OPENBLAS", "OMP", "MKL", "NUMEXPR")}


class ReadingFailedError(Exception):
    """What a library said of a file."""


@dataclass(frozen=True)
class Limits:
    """Of one file."""

    memory: int  #: bytes, beside what the process takes already
    seconds: int  #: of computing; three times as many may pass

    @classmethod
    def of(cls, path: Path) -> Limits:
        """Generous for a good file, or folder of files, of that size: compressed ones grow by ten,
        or a hundred where they are small; the slowest library reads some MB in a second."""
        files = [path] if path.is_file() else [one for one in path.rglob("*") if one.is_file()]
        size = sum(file.stat().st_size for file in files)
        return cls((1 << 30) + 64 * size, 10 + size // 1_000_000)


@dataclass(frozen=True)
class _Request:
    folder: str
    module: str
    function: str
    arguments: tuple[Any, ...]
    limits: Limits


def call(work: str, path: Path, *arguments: Any) -> Any:
    """What a function of a module, "module:name", makes of a path and other arguments.

    Raises
    ------
    HarmotrackError
        The function raised it, crashed, or went beyond a limit.
    ReadingFailedError
        The function raised another exception, whose words these are.
    """
    module, _, function = work.partition(":")
    if not sys.executable or not hasattr(os, "memfd_create"):
        return getattr(import_module(module), function)(path, *arguments)
    limits = Limits.of(path)
    request = _Request(os.getcwd(), module, function, (path, *arguments), limits)
    result = os.memfd_create("harmotrack")
    try:
        status = _ask(request, result)
        if os.WIFSIGNALED(status) or os.WEXITSTATUS(status) != 0:
            raise HarmotrackError(_said_of_death(path, status, limits))
        good, value = _loaded(result)
    finally:
        os.close(result)
    if good:
        return value
    if isinstance(value, MemoryError):
        raise HarmotrackError(
            f"{path} needs more than {limits.memory / 1e9:.2g} GB of memory, which is far beyond "
            "its size: it may be damaged."
        )
    raise value


def _said_of_death(path: Path, status: int, limits: Limits) -> str:
    number = os.WTERMSIG(status) if os.WIFSIGNALED(status) else 0
    if number in (signal.SIGXCPU, signal.SIGALRM):
        return (
            f"{path} can't be read within {limits.seconds} s, which is far beyond its size: it may "
            "be damaged."
        )
    how = signal.Signals(number).name if number else f"exit code {os.WEXITSTATUS(status)}"
    return f"{path} can't be read, it may be damaged: the library that reads it ends in {how}."


# The side that asks.


class _Server:
    def __init__(self) -> None:
        self._socket, theirs = socket.socketpair(socket.AF_UNIX, socket.SOCK_SEQPACKET)
        self.owner = os.getpid()
        with theirs:
            self._process = subprocess.Popen(
                [sys.executable, "-c", _START, str(theirs.fileno()), *sys.path],
                stdin=subprocess.DEVNULL,
                stdout=subprocess.DEVNULL,
                stderr=subprocess.DEVNULL,
                pass_fds=[theirs.fileno()],
                env={**os.environ, **_ONE_THREAD},
                start_new_session=True,
            )

    def ask(self, request: bytes, result: int) -> int | None:
        """The worker's status; None if there is no server any more."""
        try:
            socket.send_fds(self._socket, [request], [result])
            answer = self._socket.recv(_LARGEST_MESSAGE)
        except ConnectionError:
            return None
        return int(answer) if answer else None

    def close(self) -> None:
        self._socket.close()
        if self.owner == os.getpid():
            with suppress(ProcessLookupError):
                os.killpg(self._process.pid, signal.SIGKILL)
            self._process.wait()


_server: _Server | None = None
_lock = threading.Lock()


def _ask(request: _Request, result: int) -> int:
    """One that was idle for long has gone, so that another one is asked."""
    message = pickle.dumps(request)
    with _lock:
        for _ in range(2):
            server = _running()
            try:
                status = server.ask(message, result)
            except BaseException:
                _close()  # with the worker, of which no one wants to know any more
                raise
            if status is not None:
                return status
            _close()
    raise HarmotrackError(
        f"{request.arguments[0]} can't be read: no process for it can be started by "
        f"{sys.executable}."
    )


def _running() -> _Server:
    global _server  # noqa: PLW0603 -- one for all that is read
    if _server is not None and _server.owner != os.getpid():
        _close()  # that of the process which this one is a fork of
    if _server is None:
        _server = _Server()
    return _server


@atexit.register
def _close() -> None:
    global _server  # noqa: PLW0603
    if _server is not None:
        _server.close()
        _server = None


def _loaded(result: int) -> tuple[bool, Any]:
    """Large arrays stay where they are, in the mapped memory; each mapping keeps a file open, of
    which a process may have a thousand."""
    size = os.fstat(result).st_size
    if size < _LEAST_MAPPED:
        memory = memoryview(bytearray(size))
        os.preadv(result, [memory], 0)
    else:
        memory = memoryview(mmap(result, size, access=ACCESS_COPY))
    length = int.from_bytes(memory[-8:], "little")
    places, payload = pickle.loads(memory[-8 - length : -8])
    good, value = pickle.loads(
        payload, buffers=[memory[first : first + size] for first, size in places]
    )
    return good, value


# The side that works.


def serve(number: int) -> None:
    """Answers requests that come through a socket until the other side is gone, or long idle."""
    with socket.socket(fileno=number) as asking:
        asking.settimeout(_IDLE_SECONDS)
        while True:
            try:
                message, descriptors, _, _ = socket.recv_fds(asking, _LARGEST_MESSAGE, 1)
            except TimeoutError:
                return
            if not message:
                return
            request: _Request = pickle.loads(message)
            with suppress(Exception):  # which the worker meets again, and tells
                import_module(request.module)
            worker = os.fork()
            if worker == 0:
                _work(request, descriptors[0])
            os.close(descriptors[0])
            _, status = os.waitpid(worker, 0)
            asking.send(str(status).encode())


def _work(request: _Request, result: int) -> None:
    """Ends the process."""
    try:
        os.chdir(request.folder)
        _limit(request.limits)
        outcome = _outcome(request)
        _limit(None)
        _store(outcome, result)
    except BaseException:
        os._exit(1)
    os._exit(0)


def _outcome(request: _Request) -> tuple[bool, Any]:
    try:
        return True, getattr(import_module(request.module), request.function)(*request.arguments)
    except (HarmotrackError, MemoryError) as error:
        return False, error
    except Exception as error:
        return False, ReadingFailedError(str(error) or type(error).__name__)


def _limit(limits: Limits | None) -> None:
    """Of memory and time, or none any more."""
    import resource

    resource.setrlimit(resource.RLIMIT_CORE, (0, 0))
    hard = resource.getrlimit(resource.RLIMIT_AS)[1], resource.getrlimit(resource.RLIMIT_CPU)[1]
    memory = seconds = resource.RLIM_INFINITY
    if limits is not None:
        pages = int(Path("/proc/self/statm").read_text().split()[0])
        memory, seconds = pages * resource.getpagesize() + limits.memory, limits.seconds
    for what, soft, most in zip(
        (resource.RLIMIT_AS, resource.RLIMIT_CPU), (memory, seconds), hard, strict=True
    ):
        allowed = [value for value in (soft, most) if value != resource.RLIM_INFINITY]
        resource.setrlimit(what, (min(allowed, default=resource.RLIM_INFINITY), most))
    signal.alarm(0 if limits is None else 3 * limits.seconds)


def _store(outcome: tuple[bool, Any], result: int) -> None:
    """The arrays, what stands round them with their places, and the length of that."""
    buffers: list[pickle.PickleBuffer] = []
    payload = pickle.dumps(outcome, protocol=5, buffer_callback=buffers.append)
    places = []
    with open(result, "wb", buffering=0, closefd=False) as file:
        for buffer in buffers:
            file.seek(-file.tell() % _ALIGNMENT, os.SEEK_CUR)
            rest = buffer.raw()
            places.append((file.tell(), rest.nbytes))
            while rest.nbytes > 0:
                rest = rest[file.write(rest) :]
        index = pickle.dumps((places, payload))
        file.write(index)
        file.write(len(index).to_bytes(8, "little"))
