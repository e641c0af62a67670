#!/usr/bin/env python3
"""Runs the ipmodel program against a private network namespace: configures
links and addresses through the kernel with `ip`, runs the program and
compares what it prints with what was configured."""

import json
import os
import select
import signal
import subprocess
import sys
import tempfile
import time
import uuid

PROG = sys.argv[1]
STATEDBD = sys.argv[2] if len(sys.argv) > 2 else None
NS = "ipmodel-test-" + uuid.uuid4().hex[:8]


def sh(*args, check=True):
    return subprocess.run(args, check=check, capture_output=True, text=True)


def ipn(*args, check=True):
    return sh("ip", "-n", NS, *args, check=check)


def run(*args):
    """Runs the program inside the namespace."""
    return subprocess.run(["ip", "netns", "exec", NS, PROG, *args], capture_output=True,
                          text=True, timeout=30)


def expect(cond, what):
    if not cond:
        raise AssertionError(what)


def show_json(*extra):
    r = run("show", "--json", *extra)
    expect(r.returncode == 0, "show --json failed: " + r.stderr)
    return {i["ifname"]: i for i in json.loads(r.stdout)}


def test_show_matches_the_kernel(vrf):
    ipn("addr", "add", "192.0.2.1/24", "dev", "va")
    ipn("addr", "add", "192.0.2.7/24", "dev", "va")  # same subnet: the kernel makes it secondary
    ipn("addr", "add", "198.51.100.1/24", "dev", "va")  # other subnet: primary too
    ipn("addr", "add", "2001:db8:1::1/64", "dev", "va", "nodad")
    ipn("addr", "add", "2001:db8:2::1/64", "dev", "vb", "nodad")
    ipn("addr", "add", "fe80::1/64", "dev", "vb", "nodad")

    intfs = show_json("--dest", "2001:db8:2::99")
    expect(set(intfs) >= {"lo", "va", "vb"}, "interfaces missing: %s" % sorted(intfs))
    va, vb = intfs["va"], intfs["vb"]
    expect(va["ipv4"]["activeAddrWithMask"] == "192.0.2.1/24", va["ipv4"])
    expect(set(va["ipv4"]["activeSecondaryWithMask"]) == {"192.0.2.7/24", "198.51.100.1/24"},
           va["ipv4"])
    expect("2001:db8:1::1/64" in va["ipv6"]["addr"], va["ipv6"])
    expect(vb["linkLocal"] == "fe80::1/64", vb)
    expect(vb["source"] == "2001:db8:2::1", vb)
    expect(va["ipv4"]["intfId"] == "va" and va["ipv6"]["l3Status"].endswith("/va"), va)
    expect(vb["vrf"] == ("red" if vrf else "default"), vb)
    expect(va["vrf"] == "default", va)

    # `ip`'s habit: -j before the command.
    r = run("-j", "show")
    expect(r.returncode == 0 and {i["ifname"] for i in json.loads(r.stdout)} == set(intfs), r.stderr)

    # A kernel name that is no valid interface id is left out, with one line saying so.
    ipn("link", "add", "odd,name", "type", "veth", "peer", "name", "oddpeer")
    r = run("show")
    expect(r.returncode == 0 and "oddpeer" in r.stdout and "odd,name" not in r.stdout, r.stdout)
    expect(r.stderr == 'ipmodel: link "odd,name" left out: not a valid interface name\n', r.stderr)
    ipn("link", "del", "oddpeer")

    r = run("show", "--dest", "192.0.2.200")
    expect(r.returncode == 0, r.stderr)
    block = r.stdout.split(": va vrf default\n", 1)[1].split("\n")
    expect(block[0].strip() == "inet 192.0.2.1/24", r.stdout)
    expect("inet 192.0.2.7/24 secondary" in r.stdout, r.stdout)
    expect("inet6 2001:db8:1::1/64" in r.stdout, r.stdout)
    expect("source for 192.0.2.200 192.0.2.1" in r.stdout, r.stdout)
    expect(("vb vrf red" if vrf else "vb vrf default") in r.stdout, r.stdout)


def test_addr_add_reports_the_kernel():
    r = run("addr", "add", "203.0.113.1/24", "dev", "va")
    expect(r.returncode == 0 and r.stderr == "", r.stderr)
    r = run("addr", "add", "203.0.113.2/24", "dev", "va", "secondary", "broadcast", "203.0.113.255")
    expect(r.returncode == 0, r.stderr)
    r = run("addr", "add", "2001:db8:3::1/64", "dev", "va")
    expect(r.returncode == 0, r.stderr)
    out = ipn("-json", "addr", "show", "dev", "va").stdout
    addrs = {(a["local"], a["prefixlen"]) for i in json.loads(out) for a in i["addr_info"]}
    expect({("203.0.113.1", 24), ("203.0.113.2", 24), ("2001:db8:3::1", 64)} <= addrs, addrs)

    # Adding an address again replaces it: the kernel keeps one copy.
    r = run("addr", "add", "203.0.113.1/24", "dev", "va")
    expect(r.returncode == 0, r.stderr)
    out = ipn("-4", "-o", "addr", "show", "dev", "va").stdout
    expect(out.count("203.0.113.1/24") == 1, out)

    # The kernel refuses a second address of a subnet with another scope, and says why.
    r = run("addr", "add", "203.0.113.3/24", "dev", "va", "scope", "link")
    expect(r.returncode != 0, "scope conflict accepted")
    expect(r.stderr == "Error: ipv4: Invalid scope value.\n", repr(r.stderr))

    r = run("addr", "add", "203.0.113.4/24", "dev", "nosuchdev")
    expect(r.returncode != 0 and r.stderr == 'Cannot find device "nosuchdev"\n', repr(r.stderr))


def test_bad_arguments():
    cases = [
        ([], "Usage: ipmodel"),
        (["frobnicate"], 'unknown command "frobnicate"'),
        (["show", "--bogus"], 'unknown option "--bogus"'),
        (["show", "--dest"], "--dest needs an address"),
        (["show", "--dest", "1.2.3"], 'invalid address "1.2.3"'),
        (["addr"], "addr needs a command"),
        (["addr", "add", "10.0.0.1/24"], "needs dev NAME"),
        (["addr", "add", "10.0.0.1/33", "dev", "va"], "invalid prefix length"),
        (["addr", "add", "10.0.0.1", "dev", "va"], "needs a prefix length"),
        (["addr", "add", "dev", "va"], "needs ADDR/LEN"),
        (["addr", "add", "10.0.0.1/24", "dev", "va", "scope", "galaxy"], 'invalid scope "galaxy"'),
        (["addr", "add", "2001:db8::1/64", "dev", "va", "secondary"], "IPv4 addresses only"),
        (["watch", "extra"], 'unknown option "extra"'),
        (["serve", "--path", "/abs"], 'invalid path "/abs"'),
        (["serve", "--socket"], "--socket needs a path"),
        (["mount"], "mount needs a PATH"),
        (["mount", "a", "b"], 'unexpected argument "b"'),
        (["mount", "some/where"], 'no type known for path "some/where"'),
    ]
    for args, text in cases:
        r = run(*args)
        expect(r.returncode != 0, "%s accepted" % args)
        lines = r.stderr.splitlines()
        expect(text in r.stderr, "%s: %r" % (args, r.stderr))
        if args:
            expect(len(lines) == 1 and "ipmodel --help" in lines[0], "%s: %r" % (args, r.stderr))
    for args in (["--help"], ["show", "--help"], ["addr", "--help"], ["watch", "--help"],
                 ["serve", "--help"], ["mount", "--help"]):
        r = run(*args)
        expect(r.returncode == 0 and r.stdout.startswith("Usage: ipmodel"), "%s: %r" % (args, r))


class LineReader:
    """Reads a process's output line by line, each wait bounded."""

    def __init__(self, proc):
        self.proc, self.buf = proc, b""

    def wait_for(self, pred, seconds=10):
        deadline = time.monotonic() + seconds
        while True:
            while b"\n" in self.buf:
                line, self.buf = self.buf.split(b"\n", 1)
                line = line.decode()
                if pred(line):
                    return line
            left = deadline - time.monotonic()
            expect(left > 0, "timed out waiting on output")
            ready, _, _ = select.select([self.proc.stdout], [], [], left)
            if ready:
                chunk = os.read(self.proc.stdout.fileno(), 4096)
                expect(chunk, "the program ended early")
                self.buf += chunk


def test_watch_sees_addresses_come_and_go():
    proc = subprocess.Popen(["ip", "netns", "exec", NS, PROG, "watch"], stdout=subprocess.PIPE,
                            stderr=subprocess.PIPE)
    try:
        out = LineReader(proc)
        out.wait_for(lambda l: l == "watching")
        ipn("addr", "add", "100.64.0.1/24", "dev", "va")
        line = out.wait_for(lambda l: "addr 100.64.0.1/24" in l and "addrChanged" in l)
        expect(line.startswith("ipv4 addrChanged ") and " vrf default intf va " in line, line)
        ipn("addr", "add", "2001:db8:9::1/64", "dev", "vb", "nodad")
        line = out.wait_for(lambda l: "addr 2001:db8:9::1/64" in l)
        expect(line.startswith("ipv6 addrChanged "), line)
        before = int(line.split()[2])
        ipn("addr", "del", "100.64.0.1/24", "dev", "va")
        out.wait_for(lambda l: l.startswith("ipv4 addrChanged ") and "addr 100.64.0.1/24" in l)
        ipn("addr", "del", "2001:db8:9::1/64", "dev", "vb")
        line = out.wait_for(lambda l: "addr 2001:db8:9::1/64" in l)
        expect(int(line.split()[2]) == before + 1, "counter did not move by one: " + line)
        proc.send_signal(signal.SIGINT)
        expect(proc.wait(timeout=10) == 0, "watch did not end cleanly: " + proc.stderr.read().decode())
    finally:
        if proc.poll() is None:
            proc.kill()
            proc.wait()


def stop(proc, name):
    """Ends a process started by a test with SIGTERM; it must end cleanly."""
    if proc.poll() is None:
        proc.send_signal(signal.SIGTERM)
    try:
        code = proc.wait(timeout=10)
    except subprocess.TimeoutExpired:
        proc.kill()
        proc.wait()
        raise AssertionError(name + " did not end on SIGTERM")
    expect(code == 0, "%s ended with %d: %s" % (name, code, proc.stderr.read().decode()))


def test_serve_publishes_the_model(tmp):
    sock = os.path.join(tmp, "statedb.sock")
    server = subprocess.Popen([STATEDBD, "--socket", sock], stdout=subprocess.PIPE,
                              stderr=subprocess.PIPE)
    procs = [(server, "statedbd")]
    try:
        LineReader(server).wait_for(lambda l: l == "ready " + sock)
        # A pair of its own, so that what the earlier tests added does not matter.
        ipn("link", "add", "vc", "type", "veth", "peer", "name", "vd")
        for dev in ("vc", "vd"):
            ipn("link", "set", dev, "addrgenmode", "none")
            ipn("link", "set", dev, "up")
        ipn("addr", "add", "10.9.0.1/24", "dev", "vc")
        ipn("addr", "add", "2001:db8:a::1/64", "dev", "vd", "nodad")
        serve = subprocess.Popen(["ip", "netns", "exec", NS, PROG, "serve", "--socket", sock,
                                  "--path", "lab/kernel"], stdout=subprocess.PIPE,
                                 stderr=subprocess.PIPE)
        procs.append((serve, "serve"))
        line = LineReader(serve).wait_for(lambda l: l.startswith("serving "))
        expect(line.endswith(" at %s: lab/kernel/l3 lab/kernel/ipv4 lab/kernel/ipv6" % sock), line)

        # Another process, outside the namespace, sees what was configured in it.
        def mount(*args):
            return subprocess.run([PROG, "mount", *args, "--socket", sock], capture_output=True,
                                  text=True, timeout=30)

        r = mount("lab/kernel/ipv4", "--json")
        expect(r.returncode == 0, r.stderr)
        v4 = json.loads(r.stdout)["ipIntfStatus"]
        expect(v4["vc"]["activeAddrWithMask"] == "10.9.0.1/24", v4["vc"])
        expect(set(v4) >= {"lo", "va", "vb", "vc", "vd"}, sorted(v4))
        r = mount("-j", "lab/kernel/ipv6")
        expect(r.returncode == 0, r.stderr)
        expect("2001:db8:a::1/64" in json.loads(r.stdout)["intf"]["vd"]["addr"], r.stdout)
        r = mount("lab/kernel/l3")
        expect(r.returncode == 0 and "intfStatus[vc].intfId vc\n" in r.stdout, r.stdout)

        # Followed, a change in the namespace arrives as lines that went and came.
        follow = subprocess.Popen([PROG, "mount", "lab/kernel/ipv4", "--follow", "--socket",
                                   sock], stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        procs.append((follow, "mount --follow"))
        out = LineReader(follow)
        out.wait_for(lambda l: l == "ipIntfStatus[vd].activeAddrWithMask 0.0.0.0/0")
        ipn("addr", "add", "10.9.1.1/24", "dev", "vd")
        out.wait_for(lambda l: l == "+ ipIntfStatus[vd].activeAddrWithMask 10.9.1.1/24")
        ipn("addr", "add", "10.9.1.2/24", "dev", "vd")
        out.wait_for(lambda l: l == "+ ipIntfStatus[vd].activeSecondaryWithMask[10.9.1.2/24]")
        ipn("addr", "del", "10.9.1.2/24", "dev", "vd")
        out.wait_for(lambda l: l == "- ipIntfStatus[vd].activeSecondaryWithMask[10.9.1.2/24]")
        stop(follow, "mount --follow")

        # Refusals: one line each, non-zero status.
        r = mount("lab/kernel/ipv4", "--type", "Ip6::Input::Status")
        expect(r.returncode != 0 and r.stderr == "ipmodel: cannot mount lab/kernel/ipv4: path "
               "lab/kernel/ipv4 holds a Ip::Input::Status, not a Ip6::Input::Status\n", r.stderr)
        r = mount("lab/kernel/other", "--type", "No::Such")
        expect(r.returncode != 0 and r.stderr.count("\n") == 1 and "No::Such" in r.stderr,
               r.stderr)
        r = subprocess.run([PROG, "mount", "lab/kernel/ipv4", "--socket",
                            os.path.join(tmp, "nobody.sock")], capture_output=True, text=True,
                           timeout=30)
        expect(r.returncode != 0 and r.stderr == "ipmodel: cannot reach statedbd at %s\n"
               % os.path.join(tmp, "nobody.sock"), r.stderr)
        # The server restarts: serve reconnects and publishes the model again,
        # changes made meanwhile included.
        stop(server, "statedbd")
        ipn("addr", "add", "10.9.2.1/24", "dev", "vc")
        server = subprocess.Popen([STATEDBD, "--socket", sock], stdout=subprocess.PIPE,
                                  stderr=subprocess.PIPE)
        procs.append((server, "statedbd"))
        LineReader(server).wait_for(lambda l: l == "ready " + sock)
        again = subprocess.Popen([PROG, "mount", "lab/kernel/ipv4", "--follow", "--socket",
                                  sock], stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        procs.append((again, "mount --follow"))
        LineReader(again).wait_for(
            lambda l: l.endswith("ipIntfStatus[vc].activeSecondaryWithMask[10.9.2.1/24]"))
        stop(again, "mount --follow")

        stop(serve, "serve")
        stop(server, "statedbd")
    finally:
        for proc, _ in reversed(procs):
            if proc.poll() is None:
                proc.kill()
                proc.wait()


def main():
    if os.geteuid() != 0:
        print("skipped: needs root to make a network namespace")
        return 77
    if sh("ip", "netns", "add", NS, check=False).returncode != 0:
        print("skipped: cannot make a network namespace")
        return 77
    try:
        ipn("link", "add", "va", "type", "veth", "peer", "name", "vb")
        # No kernel-made link-local addresses: the test chooses them.
        ipn("link", "set", "va", "addrgenmode", "none")
        ipn("link", "set", "vb", "addrgenmode", "none")
        ipn("link", "set", "va", "up")
        ipn("link", "set", "vb", "up")
        ipn("link", "set", "lo", "up")
        vrf = ipn("link", "add", "red", "type", "vrf", "table", "10", check=False).returncode == 0
        if vrf:
            ipn("link", "set", "red", "up")
            ipn("link", "set", "vb", "master", "red")
        else:
            print("note: the kernel refuses VRF devices; VRF membership is not checked")
        test_show_matches_the_kernel(vrf)
        test_addr_add_reports_the_kernel()
        test_bad_arguments()
        test_watch_sees_addresses_come_and_go()
        if STATEDBD:
            with tempfile.TemporaryDirectory() as tmp:
                test_serve_publishes_the_model(tmp)
    finally:
        sh("ip", "netns", "delete", NS, check=False)
    print("ok")
    return 0


if __name__ == "__main__":
    sys.exit(main())
