import json
import os
import pathlib
import signal
import socket
import subprocess
import tempfile
import time
import unittest

from gateway_process import GATEWAY, SECONDS, GatewayProcess, has_ended


class LifeCycle(unittest.TestCase):
    def test_ends_on_each_signal_with_0_and_leaves_nothing(self):
        for number in (signal.SIGTERM, signal.SIGINT, signal.SIGHUP):
            with self.subTest(number), tempfile.TemporaryDirectory() as temp:
                process = subprocess.Popen(
                    ["/usr/bin/python3", "-B", str(GATEWAY)],
                    stdout=subprocess.PIPE,
                    stderr=subprocess.PIPE,
                    env={**os.environ, "TMPDIR": temp},
                )
                process.stdout.readline()
                process.send_signal(number)
                self.assertEqual(process.communicate(timeout=SECONDS)[1], b"")
                self.assertEqual(process.returncode, 0)
                self.assertEqual(os.listdir(temp), [])

    def test_private_key_is_off_the_disk_once_ready(self):
        with tempfile.TemporaryDirectory() as temp:
            process = subprocess.Popen(
                ["/usr/bin/python3", "-B", str(GATEWAY)],
                stdout=subprocess.PIPE,
                env={**os.environ, "TMPDIR": temp},
            )
            process.stdout.readline()
            self.assertEqual(os.listdir(temp), [])
            process.kill()
            process.communicate()

    def test_ends_beside_a_silent_and_a_slow_connection(self):
        gateway = GatewayProcess("--fault", "silent")
        silent = gateway.connect()
        silent.sendall(b"GET /remote/info HTTP/1.1\r\n\r\n")
        while not gateway.log():
            pass
        gateway.set(fault="slow", delay_ms=60_000)
        slow = gateway.connect()
        slow.sendall(b"GET /remote/info HTTP/1.1\r\n\r\n")
        while len(gateway.log()) < 2:
            pass
        idle = socket.create_connection(("127.0.0.1", gateway.ready["port"]))
        started = time.monotonic()
        self.assertEqual(gateway.stop(), 0)
        self.assertLess(time.monotonic() - started, 20)
        for connection in (silent, slow, idle):
            connection.close()

    def test_ends_with_its_parent(self):
        script = f"""
import subprocess, sys
child = subprocess.Popen(["/usr/bin/python3", "-B", {str(GATEWAY)!r}], stdout=subprocess.PIPE, text=True)
print(child.stdout.readline().strip(), flush=True)
sys.stdin.read()
"""
        parent = subprocess.Popen(
            ["/usr/bin/python3", "-c", script], stdin=subprocess.PIPE, stdout=subprocess.PIPE
        )
        ready = json.loads(parent.stdout.readline())
        watched = socket.create_connection(("127.0.0.1", ready["control_port"]), SECONDS)
        parent.kill()
        self.assertTrue(has_ended(watched))
        watched.close()
        parent.communicate()

    def test_ready_file_says_what_the_ready_line_says(self):
        with tempfile.TemporaryDirectory() as temp:
            file = pathlib.Path(temp, "ready.json")
            gateway = GatewayProcess("--ready-file", str(file), "--sso-port", "8020")
            self.assertEqual(json.loads(file.read_text()), gateway.ready)
            self.assertEqual(gateway.ready["sso_port"], 8020)
            self.assertEqual(gateway.stop(), 0)

    def test_chosen_sso_port_is_none_that_outgoing_connections_get(self):
        gateway = GatewayProcess()
        self.assertIn(gateway.ready["sso_port"], range(20_000, 32_001))
        self.assertEqual(gateway.stop(), 0)

    def test_listens_on_the_loopback_address_only(self):
        gateway = GatewayProcess()
        mine = {f"{gateway.ready[name]:04X}" for name in ("port", "control_port")}
        tables = [pathlib.Path("/proc/net/tcp"), pathlib.Path("/proc/net/tcp6")]
        rows = [
            line.split() for table in tables if table.exists() for line in table.read_text().splitlines()[1:]
        ]
        listening = [row[1].split(":") for row in rows if row[3] == "0A"]
        self.assertEqual([address for address, port in listening if port in mine], ["0100007F"] * 2)
        self.assertEqual(gateway.stop(), 0)

    def test_a_start_that_fails_says_why(self):
        with socket.create_server(("127.0.0.1", 0)) as taken:
            port = str(taken.getsockname()[1])
            for options, text in (
                (["--port", port], "Address already in use"),
                (["--set", "delay_ms=much"], "delay_ms"),
                (["--set", "nonsense"], "there is no '='"),
                (["--log", "/nowhere/log"], "/nowhere/log"),
            ):
                with self.subTest(text):
                    result = subprocess.run(
                        ["/usr/bin/python3", "-B", str(GATEWAY), *options],
                        capture_output=True,
                        text=True,
                        timeout=SECONDS,
                    )
                    self.assertEqual((result.returncode, result.stdout), (1, ""))
                    self.assertIn(text, result.stderr)
                    self.assertNotIn("Traceback", result.stderr)
