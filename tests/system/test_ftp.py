"""Files on FTP servers, relayed."""

import concurrent.futures
import contextlib
import os
import socket
import subprocess
import threading

import pytest

import music
import wire
from daemon import wait_until
from servers import Server, installed, play_counts, running, serve_items

CONTENT = bytes(range(256)) * 40


class FtpServer(Server):
    """Answers each command as it is told and notes what it was sent: replies maps a command's first word to the lines
    (or to a function that gives them). PASV opens a port; content goes out over it between 150 and 226."""

    def __init__(self, host, replies=None, content=CONTENT):
        self.content, self.commands, self.data_connections, self.ended = content, [], 0, threading.Event()
        self.replies = {"": "220 ready", "USER": "331 password", "PASS": "230 in", "TYPE": "200 ok",
                        "SIZE": f"213 {len(content)}", "PASV": FtpServer.open_passive, "RETR": FtpServer.send_content,
                        "QUIT": "221 bye"} | (replies or {})
        super().__init__(host, address="127.0.0.1")

    def url(self, path="/a.mp3", login=""):
        return f"ftp://{login}{self.authority}{path}"

    def talk(self, connection):
        with contextlib.suppress(OSError), connection.makefile("rb") as lines:
            self._reply(connection, "")
            for line in lines:
                self.commands.append(line)
                self._reply(connection, line.decode("latin-1").split()[0] if line.split() else "")
        self.ended.set()

    def _reply(self, connection, word):
        reply = self.replies.get(word, "500 what?")
        reply(self, connection) if callable(reply) else connection.sendall(reply.encode() + b"\r\n")

    def open_passive(self, connection, address="127,0,0,1"):
        with self.host.entered():
            self._data = socket.create_server(("127.0.0.1", 0))
        port = self._data.getsockname()[1]
        connection.sendall(f"227 Entering Passive Mode ({address},{port >> 8},{port & 255}).\r\n".encode())

    def send_content(self, connection, end=b"226 done\r\n"):
        connection.sendall(b"150 here it comes\r\n")
        with self._data, self._data.accept()[0] as data:
            self.data_connections += 1
            data.sendall(self.content)
        connection.sendall(end)

    def __exit__(self, *_):
        super().__exit__()
        self.ended.set()


@pytest.fixture
def serve_urls(serve, lone_host, tmp_path):
    """serve_urls({title: URL}): a server of these."""
    return lambda urls: serve_items(serve, tmp_path, {title: {"RE": urls[title]} for title in urls}, host=lone_host)


@pytest.fixture
def serve_table(serve_urls, lone_host):
    """serve_table({name: replies}): an FTP server for each and a server of their files; ({name: FtpServer}, server)."""
    with contextlib.ExitStack() as stack:
        def start(table, content=CONTENT):
            ftp = {name: stack.enter_context(FtpServer(lone_host, replies, content)) for name, replies in table.items()}
            return ftp, serve_urls({name: one.url() for name, one in ftp.items()})
        yield start


def get(server, title):
    return server.client().get(server.items[title].path)


def whole(server, title):
    """Every byte of the answer, up to the end of the connection."""
    return server.client().exchange(f"GET {server.items[title].path} HTTP/1.1\r\n\r\n".encode(), 100)


def test_dialogue(lone_host, serve_urls):
    with FtpServer(lone_host) as ftp:
        path = "/dir/a b#1?.mp3"
        server = serve_urls({"guest": ftp.url(path), "joe": ftp.url(path, "joe:pw@")})
        for title, login in (("guest", [b"USER anonymous\r\n", b"PASS anonymous@pelorama.invalid\r\n"]),
                             ("joe", [b"USER joe\r\n", b"PASS pw\r\n"])):
            ftp.commands.clear()
            ftp.ended.clear()
            answer = get(server, title)
            assert (answer.status, answer.body, answer.header("Content-Type")) == (200, CONTENT, "audio/mpeg")
            assert ftp.ended.wait(20) and ftp.commands == [
                *login, b"TYPE I\r\n", b"SIZE /dir/a b#1?.mp3\r\n", b"PASV\r\n", b"RETR /dir/a b#1?.mp3\r\n", b"QUIT"]
        assert f"\t{len(CONTENT) - 1}\tjoe\t" in server.client().get("/rpc?playing").body.decode()
        assert "FTP data transfer completed." in server.log()

        # The size is all that a HEAD asks for; where it was met, the connection is kept.
        ftp.ended.clear()
        request = f"GET {server.items['guest'].path} HTTP/1.1\r\n\r\n".encode()
        with server.client().connect() as connection:
            connection.sendall(request.replace(b"GET", b"HEAD"))
            answer, rest = wire.read_answer(connection, "HEAD")
            assert (answer.status, answer.header("Content-Length"), rest) == (200, str(len(CONTENT)), b"")
            assert ftp.ended.wait(20) and ftp.commands[-2:] == [b"SIZE /dir/a b#1?.mp3\r\n", b"QUIT"]
            for _ in range(2):
                connection.sendall(request)
                answer, rest = wire.read_answer(connection)
                assert (answer.body, rest) == (CONTENT, b"")


GOOD_SERVERS = {
    "no_password": {"USER": "230 in"}, "password_superfluous": {"PASS": "202 superfluous"},
    "no_size": {"SIZE": "502 not implemented"},
    "other_address": {"PASV": lambda *them: FtpServer.open_passive(*them, "10,9,8,7")},  # only the port can be meant
    "multi_line_end": {"RETR": lambda *them: FtpServer.send_content(*them, b"226-\r\n 226 not yet\r\n226 done\r\n")},
    "silent_goodbye": {"QUIT": lambda *_: None},
}


def test_servers_differ(serve_table):
    ftp, server = serve_table(GOOD_SERVERS)
    for name, one in ftp.items():
        head, body = whole(server, name).split(b"\r\n\r\n", 1)
        assert head.startswith(b"HTTP/1.1 200 OK\r\n") and body == CONTENT, name
        assert (b"Content-Length" in head) == ("size" not in name), name
        assert (b"PASS" in b"".join(one.commands)) == (name != "no_password"), name


REFUSALS = {  # what is refused, the replies, what is said of it
    "greeting": ({"": "421 too many"}, "Connection Establishment: 421"),
    "user": ({"USER": "332 account"}, "Login USER: 332"),
    "password": ({"PASS": "530 no"}, "Login PASS: 530"),
    "no_such_file": ({"SIZE": "550 no such file"}, "SIZE: 550"),
    "no_passive": ({"PASV": "502 no"}, "PASV: 502"),
    "passive_without_numbers": ({"PASV": "227 Entering Passive Mode"}, "could not parse IP and port: 227 Entering"),
    "closes": ({"TYPE": lambda ftp, connection: connection.shutdown(socket.SHUT_RDWR)}, "Login USER: 0"),
}


def test_refusals_are_not_found(serve_table):
    ftp, server = serve_table({"late": {"RETR": "550 gone"}, **{name: row[0] for name, row in REFUSALS.items()}})
    for name, (_, message) in REFUSALS.items():
        seen = len(server.log())
        assert get(server, name).status == 404, name
        assert f"[ERROR]HTTP:{message}" in server.log()[seen:], name
        assert ftp[name].data_connections == 0, name
    assert server.client().get("/rpc?playing").body == b"playing<br>\n"
    # One that comes late is sent behind the other status, and counts as played.
    data = whole(server, "late")
    assert data.startswith(b"HTTP/1.1 200 OK\r\n") and b"\r\n\r\nHTTP/1.1 404 Not Found\r\n" in data
    assert "RETR: 550" in server.log()
    assert play_counts(server) == {"late": 1} | dict.fromkeys(REFUSALS, 0)


def test_urls_that_name_no_file(lone_host, serve_urls):
    """Control characters end a value of the persistence file; a percent sign hides none."""
    with FtpServer(lone_host) as ftp:
        server = serve_urls({"percent": ftp.url("/a%0d%0aDELE x.mp3"), "path": ftp.url("/a\x7fb.mp3"),
                             "login": ftp.url("/x", "jo\x7fe:pw@"), "nobody": "ftp://127.0.0.1:9/a.mp3",
                             "no path": "ftp://127.0.0.1", "unknown": "ftp://no-such-host.invalid/a.mp3"})
        for title in server.items:
            assert get(server, title).status == (200 if title == "percent" else 404), title
        assert b"RETR /a%0d%0aDELE x.mp3\r\n" in ftp.commands
        assert not any(command.startswith(b"DELE") for command in ftp.commands)
        assert server.client().get(server.items["percent"].path.replace("ftpproxy", "httpproxy")).status == 404
        assert server.client().get("/ftpproxy/0.mp3").status == 404


def forever(piece):
    return lambda _, connection: [connection.sendall(piece) for _ in iter(int, 1)]


HOSTILE = {"endless_lines": {"USER": forever(b"220-hello\r\n")}, "endless_line": {"USER": forever(b"x" * 1000)},
           "endless_preliminary": {"RETR": forever(b"150 soon\r\n")},
           **{f"silent_at_{word}": {word: lambda ftp, _: ftp.ended.wait(200)}
              for word in ("", "USER", "PASS", "TYPE", "SIZE", "PASV", "RETR")}}


def test_hostile_servers(serve_table):
    _, server = serve_table(HOSTILE)

    def play_all():
        with concurrent.futures.ThreadPoolExecutor(len(HOSTILE)) as pool:
            for name, data in zip(HOSTILE, pool.map(lambda name: whole(server, name), HOSTILE)):
                assert b"HTTP/1.1 404 Not Found\r\n" in data, name
    server.survives(play_all)


def test_receivers_that_pause_and_that_go_away(serve_table):
    """The server has said that it is done long before the receiver has it all."""
    content, done = os.urandom(1 << 20) * 32, threading.Event()
    _, server = serve_table({"file": {"RETR": lambda *them: (FtpServer.send_content(*them), done.set())}}, content)
    request = f"GET {server.items['file'].path} HTTP/1.1\r\n\r\n".encode()
    descriptors = server.descriptors()
    with server.client().connect() as connection:
        connection.sendall(request)
        connection.recv(1000)
    server.wait_for_log("FTP data transfer interupted by client")
    wait_until(lambda: server.descriptors() <= descriptors, "every connection is closed")

    with server.client().connect(100) as receiver:
        receiver.sendall(request)
        assert receiver.recv(10)
        assert not done.wait(12), "longer than a server may be silent"
        answer, _ = wire.read_answer(receiver, have=b"HTTP/1.1 2")
        assert answer.body == content and done.is_set()


# ---- servers that nobody here wrote

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
def test_real_server(lone_host, serve_urls, tmp_path, configured, login):
    content = os.urandom(1 << 20) * 64
    music.write(tmp_path / "files" / "deep down" / "a.mp3", content)
    with running(lone_host, tmp_path / "ftp.log", *configured(tmp_path / "files", tmp_path), port=2121):
        server = serve_urls({"file": f"ftp://{login}127.0.0.1:2121/deep down/a.mp3",
                             "missing": f"ftp://{login}127.0.0.1:2121/deep down/b.mp3",
                             "refused": "ftp://joe:no@127.0.0.1:2121/deep down/a.mp3"})
        answer = get(server, "file")
        assert answer.status == 200 and answer.body == content, "byte for byte"
        assert server.client().request("HEAD", server.items["file"].path).header("Content-Length") == str(len(content))
        assert [get(server, title).status for title in ("missing", "refused")] == [404, 404]
