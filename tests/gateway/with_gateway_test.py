import os
import signal
import socket
import subprocess
import tempfile
import unittest

from gateway_process import ROOT, SECONDS, has_ended

WITH_GATEWAY = ROOT / "tests" / "support" / "with_gateway.py"


def run(*arguments: str, **options: object) -> subprocess.CompletedProcess:
    return subprocess.run(
        ["/usr/bin/python3", "-B", str(WITH_GATEWAY), *arguments],
        capture_output=True,
        text=True,
        timeout=SECONDS * 2,
        **options,
    )


class WithGateway(unittest.TestCase):
    def test_command_finds_the_gateway_and_its_exit_code_is_kept(self):
        result = run(
            "--",
            "sh",
            "-c",
            'curl -sk "https://127.0.0.1:$ZELTO_GATEWAY_PORT/remote/info"; '
            'curl -s "http://127.0.0.1:$ZELTO_GATEWAY_CONTROL_PORT/log"; wc -l "$ZELTO_GATEWAY_LOG"; '
            'echo "port $ZELTO_GATEWAY_SSO_PORT of $ZELTO_GATEWAY_USER:$ZELTO_GATEWAY_PASSWORD"',
        )
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        self.assertIn('"path": "/remote/info"', result.stdout)
        self.assertIn("1 /", result.stdout)
        self.assertRegex(result.stdout, r"sso_port='(\d+)'[^$]*port \1 of alice:Open\+Sesame & 1")

    def test_failing_command_shows_the_log(self):
        result = run("--", "sh", "-c", 'curl -sk "https://127.0.0.1:$ZELTO_GATEWAY_PORT/seen"; exit 7')
        self.assertEqual(result.returncode, 7)
        self.assertIn('"path": "/seen"', result.stderr)

    def test_command_ended_by_a_signal(self):
        self.assertEqual(run("--", "sh", "-c", "kill -ABRT $$").returncode, 128 + signal.SIGABRT)

    def test_command_that_cannot_be_started(self):
        result = run("--", "/no/such/command")
        self.assertEqual(result.returncode, 127)
        self.assertIn("cannot start /no/such/command: No such file", result.stderr)

    def test_gateway_that_cannot_start(self):
        result = run("--gateway-option=--set", "--gateway-option=delay_ms=much", "--", "echo", "must not run")
        self.assertEqual((result.returncode, result.stdout), (125, ""))
        self.assertIn("delay_ms: 'much' has the wrong type", result.stderr)

    def test_gateway_that_dies_fails_a_passing_command(self):
        result = run(
            "--",
            "sh",
            "-c",
            "for p in $(pgrep -P $PPID); do [ $p = $$ ] || gateway=$p; done; kill -KILL $gateway; "
            "until [ ! -e /proc/$gateway ] || grep -q '^State:.Z' /proc/$gateway/status; do :; done",
        )
        self.assertEqual(result.returncode, 125)
        self.assertIn("the gateway ended with -9 on its own", result.stderr)

    def test_log_can_be_kept(self):
        with tempfile.TemporaryDirectory() as temp:
            run(
                "--log",
                f"{temp}/kept.jsonl",
                "--",
                "sh",
                "-c",
                'curl -sk "https://127.0.0.1:$ZELTO_GATEWAY_PORT/x"',
            )
            with open(f"{temp}/kept.jsonl", encoding="utf-8") as log:
                self.assertEqual(len(log.readlines()), 1)

    def test_killed_by_a_time_out_it_leaves_nobody_behind(self):
        for number in (signal.SIGTERM, signal.SIGKILL):
            with self.subTest(number):
                runner = subprocess.Popen(
                    [
                        "/usr/bin/python3",
                        "-B",
                        str(WITH_GATEWAY),
                        "--",
                        "sh",
                        "-c",
                        'echo "$ZELTO_GATEWAY_CONTROL_PORT"; exec cat',
                    ],
                    stdin=subprocess.PIPE,
                    stdout=subprocess.PIPE,
                    stderr=subprocess.DEVNULL,
                    text=True,
                )
                watched = socket.create_connection(("127.0.0.1", int(runner.stdout.readline())), SECONDS)
                os.kill(runner.pid, number)
                self.assertTrue(has_ended(watched), "the gateway has ended")
                self.assertEqual(runner.stdout.read(), "", "the command has ended")
                watched.close()
                runner.wait(SECONDS)
                runner.stdin.close()
                runner.stdout.close()
