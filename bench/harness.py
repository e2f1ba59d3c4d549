"""What the benchmarks through nginx share: the configuration as delivered, the service, canned replies and wrk."""
import collections
import contextlib
import http.client
import os
import pathlib
import re
import shutil
import signal
import socket
import subprocess
import sys
import time

ROOT = pathlib.Path(__file__).resolve().parent.parent
NAMESPACE = "http://tarnix.example/TarnixWS"
CONNECTIONS = 8
TICKS = os.sysconf("SC_CLK_TCK")

LUA = """
wrk.method = "POST"
wrk.headers["Content-Type"] = "text/xml; charset=utf-8"
wrk.body = [[%s]]
done = function(summary, latency)
  local e = summary.errors
  print(string.format("FIGURES %%d %%f %%f %%f %%f %%d %%d %%d", summary.requests, summary.requests / summary.duration * 1e6,
    latency:percentile(50) / 1e3, latency:percentile(99) / 1e3, latency.max / 1e3, e.status,
    e.connect + e.read + e.write, e.timeout))
end
"""

# Requests, and how many a second; ms; requests that were refused, broke off, took more than 2 s.
Figures = collections.namedtuple("Figures", "sent rate p50 p99 worst refused broken late")


def figures(output):
    """From what wrk has printed with LUA."""
    words = re.search(r"FIGURES (.*)", output)[1].split()
    return Figures(int(words[0]), *map(float, words[1:5]), *map(int, words[5:]))


def fail(text):
    sys.exit(f"{pathlib.Path(sys.argv[0]).name}: {text}")


def envelope(operation, inner):
    return (
        '<SOAP-ENV:Envelope xmlns:SOAP-ENV="http://schemas.xmlsoap.org/soap/envelope/">'
        f'<SOAP-ENV:Body><n:{operation} xmlns:n="{NAMESPACE}"><n:options></n:options>{inner}'
        f"</n:{operation}></SOAP-ENV:Body></SOAP-ENV:Envelope>"
    )


GET_VALUE = envelope("getValue", "<n:path>/Feeder1/VoltageA</n:path>")


def program(name):
    """Those of the system included, which a user's PATH leaves out."""
    return shutil.which(name, path=os.environ["PATH"] + ":/usr/sbin") or name


def free_port():
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


def cpu_seconds(pid):
    """Of all threads that it has now."""
    tasks = list(pathlib.Path(f"/proc/{pid}/task").iterdir())
    schedstats = [task / "schedstat" for task in tasks]
    if schedstats[0].exists() and (cpu := sum(int(place.read_text().split()[0]) for place in schedstats)):
        return cpu / 1e9
    fields = pathlib.Path(f"/proc/{pid}/stat").read_text().rsplit(")", 1)[1].split()
    return (int(fields[11]) + int(fields[12])) / TICKS


def children_of(pid):
    """With all of theirs."""
    places = pathlib.Path(f"/proc/{pid}/task").glob("*/children")
    children = [int(child) for place in places for child in place.read_text().split()]
    return children + [pid for child in children for pid in children_of(child)]


class Bench:
    """Programs of the build in a folder, and what they are measured with; live stores are in memory."""

    def __init__(self, build, folder, memory):
        self.build = build
        self.folder = folder
        self.memory = memory
        self.port = free_port()
        self.children = []
        (folder / "tmp").mkdir()

    def start(self, *command, **environment):
        log = open(self.folder / (pathlib.Path(command[0]).name + ".out"), "ab")
        child = subprocess.Popen(
            [str(word) for word in command],
            cwd=self.folder,
            env={**os.environ, **environment},
            stdin=subprocess.DEVNULL,
            stdout=log,
            stderr=log,
        )
        log.close()
        self.children.append(child)
        return child

    def stop(self, child):
        self.children.remove(child)
        child.send_signal(signal.SIGTERM)
        try:
            child.wait(10)
        except subprocess.TimeoutExpired:
            child.kill()
            child.wait()

    def stop_all(self):
        for child in reversed(list(self.children)):
            self.stop(child)

    def fastcgi_place(self, name):
        """What nginx does for the service, for another FastCGI program on the socket of this name."""
        shipped = (ROOT / "deploy/dravixd-fastcgi.conf").read_text()
        return shipped.replace("fastcgi_pass dravixd;", f"fastcgi_pass unix:{self.folder}/{name};")

    def start_nginx(self, places, http=""):
        """The configuration as delivered, with more places: what a location of each name includes."""
        deploy = ROOT / "deploy"
        for name in ("http", "server", "fastcgi"):
            shutil.copy(deploy / f"dravixd-{name}.conf", self.folder)
        with (self.folder / "dravixd-http.conf").open("a") as shipped:
            shipped.write(http)
        shutil.copy(deploy / "demo.htpasswd", self.folder / "users.htpasswd")
        text = (deploy / "nginx-demo.conf.in").read_text().replace("@PORT@", str(self.port))
        service = re.search(r"        location = /ws \{.*?\n        \}\n", text, re.S).group(0)
        more = ""
        for name, content in places.items():
            (self.folder / f"{name}.conf").write_text(content)
            more += service.replace("/ws", f"/{name}").replace("dravixd-fastcgi", name)
        (self.folder / "nginx.conf").write_text(text.replace(service, service + more))
        self.start(program("nginx"), "-p", self.folder, "-c", "nginx.conf", "-e", "nginx.log")

    def store(self, name, model):
        environment = {"TOOLKIT_RUN": str(self.memory / name), "TOOLKIT_STATE": str(self.folder / name)}
        for place in environment.values():
            os.makedirs(place)
        subprocess.run(
            [self.build / "tools/devctl", "store", "import", model],
            env={**os.environ, **environment},
            check=True,
            stdout=subprocess.DEVNULL,
        )
        return environment

    def start_service(self, store):
        log = str(self.folder / "dravixd.log")
        service = self.start(self.build / "common/dravixd", "-d", **store, TOOLKIT_LOG=log)
        self.wait_for_answer(service)
        return service

    def post(self, body, place="/ws"):
        connection = http.client.HTTPConnection("127.0.0.1", self.port, timeout=10)
        with contextlib.closing(connection):
            connection.request("POST", place, body, {"Content-Type": "text/xml; charset=utf-8"})
            answer = connection.getresponse()
            return answer.status, answer.read().decode()

    def wait_for_answer(self, child, place="/ws"):
        end = time.monotonic() + 10
        while time.monotonic() < end:
            if child.poll() is not None:
                fail(f"{child.args[0]} ended with {child.returncode}")
            with contextlib.suppress(OSError, http.client.HTTPException):
                if self.post(GET_VALUE, place)[0] == 200:
                    return
            time.sleep(0.002)
        fail(f"no answer from {place} within 10 s")

    def drive(self, place, seconds, body=GET_VALUE):
        script = self.folder / "request.lua"
        script.write_text(LUA % body)
        run = subprocess.run(
            ["wrk", "-t1", f"-c{CONNECTIONS}", f"-d{seconds}s", "-s", str(script),
             f"http://127.0.0.1:{self.port}{place}"],
            check=True, capture_output=True, text=True,
        )
        measured = figures(run.stdout)
        if measured.refused or measured.broken or measured.late:
            fail("some requests failed:\n" + run.stdout)
        return measured


def checked_reply(bench, body, place="/ws"):
    status, reply = bench.post(body, place)
    if status != 200 or "Fault" in reply or ">? " in reply:
        fail(f"{place} answered {status}: {reply}")
    return reply


def start_canned(bench, reply, *closing):
    (bench.folder / "reply.xml").write_text(reply)
    canned = bench.start(bench.build / "bench/canned", bench.folder / "canned.socket",
                         bench.folder / "reply.xml", *closing)
    bench.wait_for_answer(canned, "/canned")
    return canned
