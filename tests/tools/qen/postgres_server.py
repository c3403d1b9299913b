"""A PostgreSQL server of the tests' own."""

import atexit
import glob
import os
import re
import shutil
import subprocess
import tempfile
import time
import uuid


class PostgresServer:
    """In a fresh folder, reachable through a socket there and by nobody else, and gone with the program, however that ends: the kernel
    tells the server when its parent dies. The server refuses to run as root, so root runs it as the user that Debian makes for it."""

    USER = "postgres"

    def __init__(self):
        self.folder = tempfile.mkdtemp(prefix="qen-pg-", dir="/tmp")  # the names of sockets are short
        atexit.register(shutil.rmtree, self.folder, ignore_errors=True)
        if os.geteuid() == 0:
            shutil.chown(self.folder, self.USER, self.USER)
        self.log = open(os.path.join(self.folder, "log"), "ab")
        data = os.path.join(self.folder, "data")
        self.start("initdb", "-D", data, "-U", "qen", "-A", "trust", "-N", "-E", "UTF8", "--locale=C").wait()
        self.process = self.start("postgres", "-D", data, "-k", self.folder, "-c", "listen_addresses=", "-c", "fsync=off",
                                  "-c", "max_connections=20", "-c", "shared_buffers=16MB", "-c", "autovacuum=off")
        atexit.register(self.stop)
        for _ in range(1200):
            if self.process.poll() is not None:
                break
            if subprocess.run([self.binary("pg_isready"), "-q", "-h", self.folder], check=False).returncode == 0:
                return
            time.sleep(0.1)
        with open(os.path.join(self.folder, "log"), encoding="utf-8") as file:
            raise RuntimeError("PostgreSQL does not start:\n" + file.read())

    def stop(self):
        self.process.terminate()
        self.process.wait()
        self.log.close()

    @staticmethod
    def binary(name):
        """Of the newest server that is installed."""
        found = glob.glob("/usr/lib/postgresql/*/bin/" + name)
        if not found:
            raise RuntimeError(name + " is not installed")
        return max(found, key=lambda path: [int(number) for number in re.findall(r"\d+", path)])

    def start(self, name, *arguments):
        user = ["--reuid", self.USER, "--regid", self.USER, "--clear-groups"] if os.geteuid() == 0 else []
        return subprocess.Popen(["setpriv", "--pdeathsig", "QUIT", *user, self.binary(name), *arguments], cwd=self.folder,
                                stdin=subprocess.DEVNULL, stdout=self.log, stderr=self.log)

    def url(self, database):
        return "postgresql:///%s?host=%s&user=qen" % (database, self.folder)

    def run(self, database, *statements):
        """Runs SQL outside of transactions; gives the rows of the last statement, bytes and UUIDs as bytes."""
        words = [word for statement in statements for word in ("-c", statement)]
        process = subprocess.run([self.binary("psql"), "-XqAt", "-F", "|", "-v", "ON_ERROR_STOP=1", "-d", self.url(database), *words],
                                 stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.PIPE, encoding="utf-8", check=False)
        if process.returncode != 0:
            raise RuntimeError("%s: %s" % (statements, process.stderr))
        return [tuple(self.value(field) for field in line.split("|")) for line in process.stdout.splitlines()]

    @staticmethod
    def value(field):
        if field.startswith("\\x"):
            return bytes.fromhex(field[2:])
        return uuid.UUID(field).bytes if len(field) == 36 else int(field) if field else None
