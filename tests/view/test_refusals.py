"""Who gets no answer, and that the server stays whatever is asked and whatever a file does."""

import json
import os
import shutil
import signal
import socket
import subprocess
import threading

import numpy as np
import psutil
import pytest
from conftest import PAGE, fetch, write, write_stack


@pytest.fixture
def client(start, tmp_path):
    write_stack(tmp_path / "ct", 3)
    return start(tmp_path / "ct")


def readers_of(client):
    return [child for child in psutil.Process(client.process.pid).children() if "read" in child.cmdline()]


def raw(client, text):
    """The first line of the answer to these bytes; empty if there is none."""
    host, port = client.host.split(":")
    with socket.create_connection((host, int(port)), timeout=30) as connection:
        connection.sendall(text if isinstance(text, bytes) else text.encode())
        connection.shutdown(socket.SHUT_WR)
        answer = b""
        while part := connection.recv(65536):
            answer += part
    return answer.split(b"\r\n")[0].decode(), answer


def test_the_page_and_its_files(client):
    for name, text in PAGE.items():
        status, headers, body = client.get("" if name == "index.html" else name)
        assert (status, body.decode()) == (200, text)
        assert headers["Content-Type"].startswith("text/")


@pytest.mark.parametrize("token", ["", "0", "0" * 32, "0" * 31, "0" * 33, "x" * 32])
def test_a_wrong_token_is_refused(client, token):
    for rest in ("", "api/tree", "page.js"):
        status, _, body = fetch(f"http://{client.host}/{token}/{rest}" if token else f"http://{client.host}/{rest}")
        assert status == 404 and b"patients" not in body and b"script" not in body


def test_a_part_of_the_token_is_refused(client):
    token = client.address.split("/")[3]
    for wrong in (token[:-1], token + "0", token[:-1] + ("0" if token[-1] != "0" else "1"), token.upper() + "A"):
        assert fetch(f"http://{client.host}/{wrong}/api/tree")[0] == 404


def test_two_servers_have_different_tokens(start, client, tmp_path):
    other = start(tmp_path / "ct")
    assert other.address.split("/")[3] != client.address.split("/")[3]
    assert fetch(f"http://{other.host}/{client.address.split('/')[3]}/api/tree")[0] == 404


@pytest.mark.parametrize("host", ["evil.example", "evil.example:80", "127.0.0.1", "", "127.0.0.1.evil.example", "[::1]"])
def test_another_host_is_refused(client, host):
    assert client.get("api/tree", Host=host)[0] == 403


def test_another_port_as_host_is_refused(client):
    assert client.get("api/tree", Host="127.0.0.1:1")[0] == 403


def test_localhost_is_this_host(client):
    assert client.get("api/tree", Host="localhost:" + client.host.split(":")[1])[0] == 200


@pytest.mark.parametrize("origin", ["http://evil.example", "null", "https://127.0.0.1", "file://"])
def test_another_origin_is_refused(client, origin):
    assert client.get("api/tree", Origin=origin)[0] == 403


def test_the_origin_of_the_page_is_not(client):
    assert client.get("api/tree", Origin="http://" + client.host)[0] == 200


@pytest.mark.parametrize("method", ["POST", "PUT", "DELETE", "PATCH", "OPTIONS"])
def test_it_only_reads(client, method):
    assert fetch(client.address + "api/tree", method)[0] == 405


@pytest.mark.parametrize("path", [
    "../", "..%2f..%2fetc/passwd", "/etc/passwd", "%2fetc%2fpasswd", "api/../../etc/passwd", "api/files//etc/passwd",
    "page.js/../../../etc/passwd", "api/series/0/files//etc/passwd", "api/series/0/files/..%2f..%2fetc%2fpasswd/tags",
    "api/series/0/files/0/values?frame=/etc/passwd", "index.html", "api", "api/", "nothing", "page.js%00", "package.json",
    "api/series/0/files/0/values", "api/series/0/files/0/values?frame=", "api/series/0/files/0/values?frame=-1",
    "api/series/0/files/0/values?frame=1e3", "api/series/0/files/0/values?frame=99999999999999999999",
    "api/series/1", "api/series/-1", "api/series/99999999999999999999", "api/series/0x0", "api/series/ 0",
    "api/series/0/files/3/tags", "api/series/0/files/0", "api/series/0/volumes", "api/series/0/volumes/",
    "api/series/0/volumes/0/0"])
def test_what_is_not_there_is_not_found(client, path):
    status, _, body = client.get(path.replace(" ", "%20"))
    assert status == 404 and b"root:" not in body and b"error" in body


@pytest.mark.parametrize("path", ["", "page.js", "api/tree", "api/series/0", "api/series/9",
                                  "api/series/0/files/0/values?frame=0", "api/series/0/files/0/preview?frame=0"])
def test_every_answer_keeps_the_browser_within_bounds(client, path):
    for address in (client.address + path, f"http://{client.host}/x/{path}"):
        _, headers, _ = fetch(address)
        policy = headers["Content-Security-Policy"]
        assert "default-src 'none'" in policy and "unsafe" not in policy
        assert headers["X-Content-Type-Options"] == "nosniff" and headers["Referrer-Policy"] == "no-referrer"
        assert headers["Cache-Control"] == "no-store" and "Access-Control-Allow-Origin" not in headers


def test_no_other_page_shows_it_but_a_notebook(start, client, tmp_path):
    assert "frame-ancestors 'none'" in client.get("")[1]["Content-Security-Policy"]
    framed = start(tmp_path / "ct", place="frame", stdin=subprocess.PIPE)
    assert "frame-ancestors" not in framed.get("")[1]["Content-Security-Policy"]
    assert framed.process.poll() is None
    framed.process.stdin.close()
    assert framed.process.wait(30) == 0


def test_it_listens_on_the_loopback_alone(client):
    connections = psutil.Process(client.process.pid).connections("inet")
    assert {connection.laddr.ip for connection in connections if connection.status == "LISTEN"} == {"127.0.0.1"}


def test_what_is_no_request_ends_nothing(client):
    path = client.address.split(client.host)[1]
    for text in (b"", b"\0" * 100, b"GET", b"GET / HTTP/9.9\r\n\r\n", "GET " + "/" * 100_000 + " HTTP/1.1\r\n\r\n",
                 "GET / HTTP/1.1\r\n" + "A: b\r\n" * 20_000 + "\r\n", f"GET {path}api/tree HTTP/1.1\r\nHost: x\r\n"
                 "Content-Length: 99999999999\r\n\r\n", "GET / HTTP/1.1\r\nHost: " + "h" * 100_000 + "\r\n\r\n"):
        line, answer = raw(client, text)
        assert " 200 " not in line and b"patients" not in answer
    assert client.get("api/tree")[0] == 200


def test_200_requests_at_once(client):
    expected = {number: client.get(f"api/series/0/files/{number}/values?frame=0")[2] for number in range(3)}
    wrong = []

    def ask(number):
        status, _, body = client.get(f"api/series/0/files/{number % 3}/values?frame=0")
        if status != 200 or body != expected[number % 3]:
            wrong.append((number, status))

    threads = [threading.Thread(target=ask, args=(number,)) for number in range(200)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    assert wrong == []
    assert len(readers_of(client)) <= 4


def test_clients_that_go_away(client):
    path = client.address.split(client.host)[1]
    host, port = client.host.split(":")
    for number in range(30):
        connection = socket.create_connection((host, int(port)))
        connection.sendall(f"GET {path}api/series/0/volumes/0 HTTP/1.1\r\nHost: {client.host}\r\n\r\n"[:60 + number].encode())
        connection.close()
    assert client.get("api/tree")[0] == 200


def test_a_reader_that_ends_is_a_sentence_and_another_one_reads(client):
    assert client.get("api/series/0/files/0/values?frame=0")[0] == 200
    for reader in readers_of(client):
        reader.kill()
    assert client.refusal("api/series/0/files/0/values?frame=0") == "The reading process ended with signal 9 (SIGKILL)."
    statuses = [client.get("api/series/0/files/0/values?frame=0")[0] for _ in range(5)]
    assert statuses[-1] == 200


@pytest.mark.parametrize("number", [signal.SIGINT, signal.SIGTERM, signal.SIGHUP])
def test_it_ends_with_all_its_processes(client, number):
    client.get("api/series/0/files/0/tags")
    readers = readers_of(client)
    assert readers
    client.process.send_signal(number)
    assert client.process.wait(30) == 0
    assert psutil.wait_procs(readers, 10)[1] == []


def test_readers_end_with_a_server_that_is_killed(client):
    client.get("api/series/0/files/0/values?frame=0")
    readers = readers_of(client)
    client.process.kill()
    client.process.wait(30)
    assert psutil.wait_procs(readers, 30)[1] == []


def refused(*words, program="RADVEX_VIEW"):
    ran = subprocess.run([os.environ[program], *map(str, words)], capture_output=True, text=True, timeout=120)
    assert ran.stdout == "" and ran.stderr.startswith("radvex: ") and ran.stderr.count("\n") == 1 + (ran.returncode == 2)
    return ran.returncode, ran.stderr


def test_a_port_that_is_taken(client, page_folder, tmp_path):
    port = client.host.split(":")[1]
    assert refused("serve", os.environ["RADVEX_LIBRARY"], 1, ".*", tmp_path / "ct", port, 64, "none", page_folder) == (
        1, f"radvex: Port {port} cannot be used; another program may have it.\n")


def test_a_folder_that_is_not_there(page_folder, tmp_path):
    status, message = refused("serve", os.environ["RADVEX_LIBRARY"], 1, ".*", tmp_path / "no", 0, 64, "none", page_folder)
    assert status == 1 and "does not exist" in message


def test_a_program_without_its_page_says_so(tmp_path):
    write(tmp_path / "ct" / "1.dcm", np.zeros((2, 3), np.uint8))
    alone = tmp_path / "bin" / "radvex-view"
    alone.parent.mkdir()
    shutil.copy(os.environ["RADVEX_VIEW"], alone)
    (tmp_path / "lib").symlink_to(os.path.dirname(os.environ["RADVEX_LIBRARY"]))
    ran = subprocess.run([alone, "serve", os.environ["RADVEX_LIBRARY"], "1", ".*", tmp_path / "ct", "0", "64", "none", ""],
                         capture_output=True, text=True, timeout=60)
    assert ran.returncode == 1 and "was built without its page" in ran.stderr and "npm" in ran.stderr


@pytest.mark.parametrize("words", [
    ["--save", "a.html", "--report", "b.html"], ["--save", "a.html", "--port", "1"], ["--report", "b.html", "--no-browser"],
    ["--max-size", "3"], ["--port", "65536"], ["--series", "("]])
def test_wrong_usage(tmp_path, words):
    write(tmp_path / "ct" / "1.dcm", np.zeros((2, 3), np.uint8))
    assert refused("view", tmp_path / "ct", *words, program="RADVEX")[0] == 2
