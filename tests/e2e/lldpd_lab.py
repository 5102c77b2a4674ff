"""A lab of network namespaces joined by veth links, with lldpd in some of them
and the agent in the one called router."""
import json
import os
import pathlib
import shutil
import tempfile
import uuid

import pytest

from conftest import Agent, run, spawn, stop_process, wait_until

# Namespaces $T-<name> for each of $NAMES; link() makes a veth pair under unique
# names here and renames its ends there: link HOST1 IF1 HOST2 IF2.
NAMESPACES = """
for h in $NAMES; do
  ip netns add $T-$h; ip -n $T-$h link set lo up
done
link() {
  ip link add name $T-a type veth peer name $T-b
  ip link set $T-a netns $T-$1; ip -n $T-$1 link set $T-a name $2 up
  ip link set $T-b netns $T-$3; ip -n $T-$3 link set $T-b name $4 up
}
"""


class Lab:
    """Namespaces <tag>-<name> for names, linked by the shell script network
    (link() and $T as below), lldpd running on hosts, each configured by
    config[host] after the common settings; on leaving its context (or close())
    whatever was made is undone. The router's interface indexes: ifindex."""

    def __init__(self, network, names, config, hosts):
        if os.geteuid() != 0 or not all(map(shutil.which, ("ip", "lldpd", "lldpcli"))):
            pytest.skip("needs root, ip, lldpd and lldpcli")
        self.tag = "lm" + uuid.uuid4().hex[:6]
        self.dir = pathlib.Path(tempfile.mkdtemp(prefix="lldpmib-lldpd-"))
        os.chmod(self.dir, 0o755)  # lldpd drops to _lldpd and must reach its socket
        self.daemons, self.processes, self.config = {}, [], config
        self.ns = {h: f"{self.tag}-{h}" for h in names}
        self.sock = {h: self.dir / f"{h}.sock" for h in names}
        try:
            r = run("sh", "-e", "-c", NAMESPACES + network, env=dict(os.environ, T=self.tag, NAMES=" ".join(names)))
            assert r.returncode == 0, r.stderr
            for host in hosts:
                self.start(host)
            self.ifindex = {l["ifname"]: l["ifindex"] for l in json.loads(
                run("ip", "-n", self.ns["router"], "-j", "link", "show").stdout)}
        except BaseException:
            self.close()
            raise

    def __enter__(self):
        return self

    def __exit__(self, *exc):
        self.close()

    def cli(self, host, commands):
        run("lldpcli", "-u", self.sock[host], check=True, input=commands)

    def agent(self, *args, **kw):
        """An Agent in the router's namespace on its lldpd (not started)."""
        return Agent(args=["--lldpd", self.sock["router"], *args], prefix=["ip", "netns", "exec", self.ns["router"]],
                     **kw)

    def start(self, host):
        p = self.daemons[host] = spawn(["ip", "netns", "exec", self.ns[host], "lldpd", "-d", "-O",
                                        "/dev/null", "-u", self.sock[host]], self.dir / f"{host}.log")
        assert wait_until(lambda: p.poll() is not None or run(
            "lldpcli", "-u", self.sock[host], "show", "chassis").returncode == 0, 10)
        assert p.poll() is None, f"lldpd in {host} exited with {p.returncode}"
        self.cli(host, f"configure system hostname {host}\nconfigure lldp tx-interval 1\n"
                 "configure system ip management pattern 10.0.*,fd00:*\n" + self.config.get(host, ""))

    def stop(self, host):
        stop_process(self.daemons.pop(host))

    def show(self, *args):
        """The router's lldpcli view, as json0 (one-element lists stay lists)."""
        return json.loads(run("lldpcli", "-u", self.sock["router"], "-f", "json0", "show", *args,
                              check=True).stdout)

    def spawn(self, host, command):
        """A process in host's namespace, stopped at close()."""
        self.processes.append(spawn(["ip", "netns", "exec", self.ns[host], *command], self.dir / f"{host}.out"))
        return self.processes[-1]

    def view(self):
        """lldpcli's views that the reference reads."""
        return {"chassis": self.show("chassis"), "interfaces": self.show("interfaces", "details"),
                "neighbors": self.show("neighbors", "details"), "configuration": self.show("configuration")}

    def statistics(self):
        """{port number: {lldpcli counter: value}} from the router's lldpcli."""
        return {self.ifindex[i["name"]]: {k: int(v[0][k]) for k, v in i.items() if k != "name"}
                for i in self.show("statistics")["lldp"][0]["interface"]}

    def close(self):
        for p in self.processes:
            stop_process(p)
        for host in list(self.daemons):
            self.stop(host)
        run("ip", "link", "del", self.tag + "-a")  # left by a failed set-up
        for ns in self.ns.values():
            # lldpd's privilege-separated child may outlive its parent for a moment.
            run("kill", "-9", *run("ip", "netns", "pids", ns).stdout.split())
            run("ip", "netns", "del", ns)
        shutil.rmtree(self.dir, ignore_errors=True)
