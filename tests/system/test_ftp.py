"""Files on FTP servers, relayed."""

import concurrent.futures
import contextlib
import hashlib
import os
import socket
import subprocess
import threading

import pytest

import wire
from daemon import wait_until
from servers import installed, running


@pytest.fixture
def serve_files(lone_host, start_daemon, tmp_path):
    """serve_files(url, ...): a server of these, by way of the persistence file; the paths of the items in that order."""
    def serve(*urls):
        library = tmp_path / "library.db"
        library.write_text("".join(f"<SOI>\nTI:Title {index}\nCL:object.item.audioItem.musicTrack\nRE:{url}\n<EOI>\n"
                                   for index, url in enumerate(urls)))
        (tmp_path / "empty").mkdir(exist_ok=True)
        server = start_daemon(lone_host, tmp_path / "empty", settings={"dbfile": library})
        server.wait_until_up()
        wait_until(lambda: len(server.client().tracks()) == len(urls), "the files are listed")
        server.paths = [entry.path for entry in sorted(server.client().tracks(), key=lambda entry: entry.title)]
        return server
    return serve


class FtpServer:
    """Answers each command as it is told and notes what it was sent: replies maps a command's first word to the lines
    (or to a function that gives them). PASV opens a port; content goes out over it between 150 and 226."""

    def __init__(self, host, content=b"", **replies):
        self.host, self.content, self.commands = host, content, []
        self.replies = {"": "220 ready", "USER": "331 password", "PASS": "230 in", "TYPE": "200 ok",
                        "SIZE": f"213 {len(content)}", "PASV": None, "RETR": None, "QUIT": "221 bye"} | replies
        self.data_connections, self.ended = 0, threading.Event()
        self._listener = self._listen()
        self.authority = f"127.0.0.1:{self._listener.getsockname()[1]}"
        threading.Thread(target=self._serve, daemon=True).start()

    def _listen(self):
        with self.host.entered():
            return socket.create_server(("127.0.0.1", 0))

    def url(self, path, login=""):
        return f"ftp://{login}{self.authority}{path}"

    def _serve(self):
        with contextlib.suppress(OSError):
            while True:
                connection = self._listener.accept()[0]
                threading.Thread(target=self._talk, args=(connection,), daemon=True).start()

    def _talk(self, connection):
        with contextlib.suppress(OSError), connection, connection.makefile("rb") as lines:
            self._data = None
            self._reply(connection, "")
            for line in lines:
                self.commands.append(line)
                self._reply(connection, line.decode("latin-1").split()[0] if line.split() else "")
        self.ended.set()

    def _reply(self, connection, word):
        reply = self.replies.get(word, "500 what?")
        if callable(reply):
            return reply(self, connection)
        if reply is None:
            return self.open_passive(connection) if word == "PASV" else self.send_content(connection)
        connection.sendall(reply.encode() + b"\r\n")

    def open_passive(self, connection, address="127,0,0,1"):
        self._data = self._listen()
        port = self._data.getsockname()[1]
        connection.sendall(f"227 Entering Passive Mode ({address},{port >> 8},{port & 255}).\r\n".encode())

    def send_content(self, connection, end=b"226 done\r\n"):
        connection.sendall(b"150 here it comes\r\n")
        with self._data, self._data.accept()[0] as data:
            self.data_connections += 1
            data.sendall(self.content)
        connection.sendall(end)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        with contextlib.suppress(OSError):
            self._listener.shutdown(socket.SHUT_RDWR)
        self._listener.close()
        self.ended.set()


def whole(server, path):
    """Every byte of the answer, up to the end of the connection."""
    with server.client().connect(100) as connection:
        connection.sendall(f"GET {path} HTTP/1.1\r\nConnection: close\r\n\r\n".encode())
        data = b""
        with contextlib.suppress(ConnectionResetError):
            while piece := connection.recv(65536):
                data += piece
    return data


LOGIN = [b"TYPE I\r\n", b"SIZE /dir/a b#1?.mp3\r\n", b"PASV\r\n", b"RETR /dir/a b#1?.mp3\r\n", b"QUIT"]
CONTENT = bytes(range(256)) * 40


def test_dialogue(lone_host, serve_files):
    with FtpServer(lone_host, CONTENT) as ftp:
        server = serve_files(ftp.url("/dir/a b#1?.mp3"), ftp.url("/dir/a b#1?.mp3", "joe:pw@"))
        assert server.paths[0].startswith("/ftpproxy/")
        for path, login in zip(server.paths, ([b"USER anonymous\r\n", b"PASS anonymous@pelorama.invalid\r\n"],
                                              [b"USER joe\r\n", b"PASS pw\r\n"])):
            ftp.commands.clear()
            ftp.ended.clear()
            answer = server.client().get(path)
            assert (answer.status, answer.body) == (200, CONTENT)
            assert answer.header("Content-Type") == "audio/mpeg"
            assert ftp.ended.wait(20) and ftp.commands == login + LOGIN
    playing = server.client().get("/rpc?playing").body.decode()
    assert f"\t{len(CONTENT) - 1}\tTitle 1\t" in playing
    assert "FTP data transfer completed." in server.log()


def test_head_asks_for_the_size_alone(lone_host, serve_files):
    with FtpServer(lone_host, CONTENT) as ftp:
        server = serve_files(ftp.url("/a.mp3"))
        answer = server.client().request("HEAD", server.paths[0])
        assert answer.status == 200 and answer.header("Content-Length") == str(len(CONTENT))
        assert ftp.ended.wait(20) and ftp.commands[-2:] == [b"SIZE /a.mp3\r\n", b"QUIT"]


def test_connection_is_kept_where_the_size_was_met(lone_host, serve_files):
    with FtpServer(lone_host, CONTENT) as ftp:
        server = serve_files(ftp.url("/a.mp3"))
        with server.client().connect() as connection:
            for _ in range(3):
                connection.sendall(f"GET {server.paths[0]} HTTP/1.1\r\n\r\n".encode())
                answer, rest = wire.read_answer(connection)
                assert answer.body == CONTENT and rest == b""


def odd_passive(ftp, connection):
    """Another machine's address; only the port can be meant."""
    ftp.open_passive(connection, "10,9,8,7")


def all_at_once(ftp, connection):
    ftp.send_content(connection, b"226-\r\n 226 not yet\r\n226 done\r\n")


GOOD_SERVERS = {
    "no_password": {"USER": "230 in"},
    "password_superfluous": {"PASS": "202 superfluous"},
    "long_greeting": {"": "220-hello\r\n  and welcome\r\n220-more\r\n220 ready"},
    "no_size": {"SIZE": "502 not implemented"},
    "size_unreadable": {"SIZE": "213 big"},
    "other_address": {"PASV": odd_passive},
    "multi_line_end": {"RETR": all_at_once},
    "silent_goodbye": {"QUIT": lambda ftp, connection: None},
}


@pytest.mark.parametrize("name", GOOD_SERVERS)
def test_servers_differ(lone_host, serve_files, name):
    with FtpServer(lone_host, CONTENT, **GOOD_SERVERS[name]) as ftp:
        server = serve_files(ftp.url("/a.mp3"))
        head, body = whole(server, server.paths[0]).split(b"\r\n\r\n", 1)
        assert head.startswith(b"HTTP/1.1 200 OK\r\n") and body == CONTENT
        assert (b"Content-Length" in head) == ("size" not in name)
        assert (b"PASS" in b"".join(ftp.commands)) == (name != "no_password")


REFUSALS = {
    "greeting": ({"": "421 too many"}, "Connection Establishment: 421"),
    "user": ({"USER": "530 no"}, "Login USER: 530"),
    "user_needs_account": ({"USER": "332 account"}, "Login USER: 332"),
    "password": ({"PASS": "530 no"}, "Login PASS: 530"),
    "type": ({"TYPE": "500 no"}, "Login USER: 500"),
    "no_such_file": ({"SIZE": "550 no such file"}, "SIZE: 550"),
    "no_passive": ({"PASV": "502 no"}, "PASV: 502"),
    "passive_without_numbers": ({"PASV": "227 Entering Passive Mode"}, "could not parse IP and port: 227 Entering"),
    "passive_above_255": ({"PASV": "227 (127,0,0,1,300,1)"}, "could not parse IP and port: 227"),
    "closes": ({"TYPE": lambda ftp, connection: connection.shutdown(socket.SHUT_RDWR)}, "Login USER: 0"),
    "long_lines": ({"TYPE": "x" * 5000 + "\r\n550 " + "y" * 5000}, "Login USER: 550"),
}


@pytest.mark.parametrize("name", REFUSALS)
def test_refusals_are_not_found(lone_host, serve_files, name):
    replies, message = REFUSALS[name]
    with FtpServer(lone_host, CONTENT, **replies) as ftp:
        server = serve_files(ftp.url("/a.mp3"))
        assert server.client().get(server.paths[0]).status == 404
        assert f"[ERROR]HTTP:{message}" in server.log()
        assert ftp.data_connections == 0
        playing = server.client().get("/rpc?playing").body.decode()
        assert "Title 0" not in playing


def test_late_refusal_is_sent_behind_the_other_status(lone_host, serve_files):
    for reply in "425 no data connection", "550 gone":
        with FtpServer(lone_host, CONTENT, RETR=reply) as ftp:
            server = serve_files(ftp.url("/a.mp3"))
            data = whole(server, server.paths[0])
            assert data.startswith(b"HTTP/1.1 200 OK\r\n") and b"\r\n\r\nHTTP/1.1 404 Not Found\r\n" in data
            assert f"RETR: {reply[:3]}" in server.log()
            server.stop()


def test_no_command_gets_into_a_path(lone_host, serve_files):
    """Control characters end a value of the persistence file; a percent sign hides none."""
    with FtpServer(lone_host, CONTENT) as ftp:
        server = serve_files(ftp.url("/a%0d%0aDELE x.mp3"), ftp.url("/a\x7fb.mp3"), ftp.url("/x", "jo\x7fe:pw@"))
        assert [server.client().get(path).status for path in server.paths] == [200, 404, 404]
        assert b"RETR /a%0d%0aDELE x.mp3\r\n" in ftp.commands
        assert not any(command.startswith(b"DELE") for command in ftp.commands)


def test_no_server(serve_files):
    server = serve_files("ftp://127.0.0.1:9/a.mp3", "ftp://127.0.0.1", "ftp://no-such-host.invalid/a.mp3")
    assert [server.client().get(path).status for path in server.paths] == [404, 404, 404]
    assert server.client().get(server.paths[0].replace("ftpproxy", "httpproxy")).status == 404
    assert server.client().get("/ftpproxy/0.mp3").status == 404


def forever(piece):
    def reply(_, connection):
        while True:
            connection.sendall(piece)
    return reply


def silent(ftp, _):
    ftp.ended.wait(200)


HOSTILE = {
    "endless_lines": {"USER": forever(b"220-hello\r\n")},
    "endless_line": {"USER": forever(b"x" * 1000)},
    "endless_preliminary": {"RETR": forever(b"150 soon\r\n")},
}


@pytest.mark.parametrize("name", HOSTILE)
def test_hostile_server(lone_host, serve_files, name):
    with FtpServer(lone_host, CONTENT, **HOSTILE[name]) as ftp:
        server = serve_files(ftp.url("/a.mp3"))

        def play():
            data = whole(server, server.paths[0])
            assert b"HTTP/1.1 404 Not Found\r\n" in data
        server.survives(play)


def test_silent_servers(lone_host, serve_files):
    with contextlib.ExitStack() as servers:
        silent_at = [servers.enter_context(FtpServer(lone_host, CONTENT, **{word: silent}))
                     for word in ("", "USER", "PASS", "TYPE", "SIZE", "PASV", "RETR")]
        server = serve_files(*(ftp.url("/a.mp3") for ftp in silent_at))

        def play():
            with concurrent.futures.ThreadPoolExecutor(8) as pool:
                for data in pool.map(lambda path: whole(server, path), server.paths):
                    assert b"HTTP/1.1 404 Not Found\r\n" in data
        server.survives(play)


def test_receiver_that_pauses_longer_than_a_server_may_be_silent(lone_host, serve_files):
    """The server has said that it is done long before the receiver has it all."""
    content = os.urandom(1 << 20) * 32
    done = threading.Event()

    def send(ftp, connection):
        ftp.send_content(connection)
        done.set()
    with FtpServer(lone_host, content, RETR=send) as ftp:
        server = serve_files(ftp.url("/a.mp3"))
        with lone_host.entered():
            receiver = socket.socket()
        with receiver:
            receiver.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 4096)
            receiver.settimeout(100)
            receiver.connect(("127.0.0.1", server.port))
            receiver.sendall(f"GET {server.paths[0]} HTTP/1.1\r\n\r\n".encode())
            assert receiver.recv(10)
            assert not done.wait(12), "the receiver holds the transfer up"
            answer, _ = wire.read_answer(receiver, have=b"HTTP/1.1 2")
            assert answer.body == content and done.is_set()


def test_receiver_that_goes_away(lone_host, serve_files):
    with FtpServer(lone_host, os.urandom(1 << 20) * 32) as ftp:
        server = serve_files(ftp.url("/a.mp3"))
        descriptors = server.descriptors()
        with server.client().connect() as connection:
            connection.sendall(f"GET {server.paths[0]} HTTP/1.1\r\n\r\n".encode())
            connection.recv(1000)
        server.wait_for_log("FTP data transfer interupted by client")
        wait_until(lambda: server.descriptors() <= descriptors, "every connection is closed")


def vsftpd(files, scratch):
    """Anonymous only: another login would need an account of the machine's."""
    program = installed("vsftpd")
    (scratch / "nothing").mkdir()
    (scratch / "vsftpd.conf").write_text(
        f"listen=YES\nlisten_address=127.0.0.1\nlisten_port=2121\nbackground=NO\nanonymous_enable=YES\n"
        f"anon_root={files}\nftp_username=daemon\nnopriv_user=nobody\nsecure_chroot_dir={scratch}/nothing\n"
        "isolate=NO\nisolate_network=NO\nseccomp_sandbox=NO\n")
    return program, str(scratch / "vsftpd.conf")


def pure_ftpd(files, scratch):
    """With users of its own. Its anonymous login would need an account of the machine's."""
    program = installed("pure-ftpd")
    subprocess.run(["pure-pw", "useradd", "joe", "-f", scratch / "passwd", "-u", "nobody", "-g", "nogroup", "-d", files,
                    "-m", "-F", scratch / "puredb"], input="pw\npw\n", text=True, check=True, timeout=60)
    return (program, "-4", "-H", "-E", "-S", "127.0.0.1,2121", "-l", f"puredb:{scratch}/puredb",
            "-g", str(scratch / "pid"))


@pytest.mark.parametrize("configured,login", [(vsftpd, ""), (pure_ftpd, "joe:pw@")])
def test_real_server(lone_host, serve_files, tmp_path, configured, login):
    files = tmp_path / "files"
    (files / "deep down").mkdir(parents=True)
    content = os.urandom(1 << 20) * 64
    (files / "deep down" / "a.mp3").write_bytes(content)
    with running(lone_host, 2121, tmp_path / "ftp.log", *configured(files, tmp_path)):
        server = serve_files(f"ftp://{login}127.0.0.1:2121/deep down/a.mp3", f"ftp://{login}127.0.0.1:2121/deep down/b.mp3",
                             "ftp://joe:no@127.0.0.1:2121/deep down/a.mp3")
        answer = server.client().get(server.paths[0])
        assert answer.status == 200
        assert hashlib.sha256(answer.body).digest() == hashlib.sha256(content).digest()
        assert server.client().request("HEAD", server.paths[0]).header("Content-Length") == str(len(content))
        assert [server.client().get(path).status for path in server.paths[1:]] == [404, 404]
