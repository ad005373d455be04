#!/usr/bin/env python3
"""Robustness runs of the plug-in inside a real snmpd, from loopback.

storm: random and mutated GET, GETNEXT, GETBULK and SET PDUs (SNMPv2c and SNMPv1, SETs with
       the write community so that they reach the tables) mixing the module's tables, while
       the switch learns, moves, ages and flaps links, and hostile GETs and GETNEXTs that
       name missing rows of a 100k-row forwarding table, each held to a time budget. Fails
       on a dead snmpd, a sanitizer report, a malformed or wrong answer, a refused SET that
       changed the input configuration, a walk that is incomplete or not strictly
       increasing, or a hostile request over its budget.
soak:  steady churn (learn, move, age, flush, link flaps, VLAN changes) of about 10,000
       changes a second, continuous walks and SETs; samples snmpd's RSS and fails when it
       leaves a 5 % band after warm-up or a walk does not finish.

Only the standard library: the BER encoding is done in snmpber.py, and the switch is driven
through its control socket with the line protocol bridgectl speaks.
"""

import argparse
import os
import random
import re
import selectors
import signal
import socket
import subprocess
import sys
import tempfile
import threading
import time

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
from snmpber import *  # noqa: E402,F403  (the BER layer of this tool)

# ---- what to ask ------------------------------------------------------------------------

# Entry OID, highest column, and how to make an index of an existing-looking row.
MAC_INDEX = lambda r: tuple(r.randrange(256) for _ in range(6))
TABLES = [
    ((1, 3, 6, 1, 2, 1, 17, 1, 4, 1), 5, lambda r: (r.randrange(1, 50),)),
    ((1, 3, 6, 1, 2, 1, 17, 4, 3, 1), 3, lambda r: (2, 0, 1, 0, 0, r.randrange(40))),
    ((1, 3, 6, 1, 2, 1, 17, 7, 1, 2, 1, 1), 2, lambda r: (r.choice([1, 10, 20, 30, 7]),)),
    ((1, 3, 6, 1, 2, 1, 17, 7, 1, 2, 2, 1), 3,
     lambda r: (r.choice([1, 10, 20]), 2, 0, r.choice([1, 10, 20]), 0, 0, r.randrange(80))),
    ((1, 3, 6, 1, 2, 1, 17, 7, 1, 4, 2, 1), 7, lambda r: (0, r.choice([1, 10, 20, 30, 50]))),
    ((1, 3, 6, 1, 2, 1, 17, 7, 1, 4, 3, 1), 5, lambda r: (r.choice([1, 10, 20, 30, 50, 99]),)),
    ((1, 3, 6, 1, 2, 1, 17, 7, 1, 4, 5, 1), 7, lambda r: (r.randrange(1, 50),)),
    ((1, 3, 6, 1, 4, 1, 32473, 3, 2, 1, 1), 3, lambda r: (0, 10) + MAC_INDEX(r)),
]
SCALARS = [(1, 3, 6, 1, 2, 1, 17, 1, n, 0) for n in (1, 2, 3)] + \
          [(1, 3, 6, 1, 2, 1, 17, 7, 1, 1, n, 0) for n in (1, 2, 3, 4, 5)]
STATIC_ENTRY, PORT_VLAN_ENTRY = TABLES[5][0], TABLES[6][0]


def random_name(r):
    if r.random() < 0.1:
        return r.choice(SCALARS)
    entry, columns, index = r.choice(TABLES)
    column = r.randrange(0, columns + 2)
    shape = r.random()
    if shape < 0.6:
        suffix = index(r)
    elif shape < 0.8:
        suffix = index(r)[:r.randrange(0, 3)]
    else:
        suffix = tuple(r.choice([0, 1, 255, 4095, 4096, 2**31, 2**32 - 1, r.randrange(1000)])
                       for _ in range(r.randrange(0, 10)))
    return entry + (column,) + suffix


def random_set_value(r):
    """A varbind of a writable column (or a near miss): the right type or a wrong one."""
    kind = r.randrange(6)
    if kind == 0:    # dot1qVlanStaticEgressPorts / UntaggedPorts: a PortList
        name = STATIC_ENTRY + (r.choice([2, 4]), r.choice([1, 10, 20, 30, 50, 99, 7]))
        value = tlv(OCTETS, bytes(r.randrange(256) for _ in range(r.choice([0, 1, 6, 7, 512]))))
    elif kind == 1:  # dot1qPvid: Unsigned32
        name = PORT_VLAN_ENTRY + (1, r.randrange(1, 50))
        value = unsigned(r.choice([0, 1, 10, 20, 4094, 4095, 4096, 2**32 - 1]), GAUGE)
    elif kind == 2:  # dot1qPortAcceptableFrameTypes: INTEGER 1 or 2
        name = PORT_VLAN_ENTRY + (2, r.randrange(1, 50))
        value = integer(r.choice([-1, 0, 1, 2, 3, 2**31 - 1]))
    else:            # any column, any type
        name = random_name(r)
        value = r.choice([integer(r.randrange(-5, 5000)), tlv(OCTETS, b"\xff" * r.randrange(9)),
                          unsigned(r.randrange(5000), GAUGE), tlv(NULL, b""),
                          unsigned(7, TIMETICKS), oid_bytes((1, 3, 6)),
                          tlv(IPADDRESS, b"\x7f\0\0\1")])
    return name, value


def random_request(r):
    """(command, field1, field2, varbinds) mixing tables in one request."""
    command = r.choice([GET, GETNEXT, GETBULK, SET])
    count = r.randrange(1, 7)
    if command == SET:
        return command, 0, 0, [random_set_value(r) for _ in range(count)]
    f1, f2 = (r.randrange(0, 3), r.randrange(0, 12)) if command == GETBULK else (0, 0)
    return command, f1, f2, [(random_name(r), tlv(NULL, b"")) for _ in range(count)]


def check_answer(request, answer, v1=False):
    """Raises Malformed unless `answer` answers `request` by the protocol's rules (SNMPv1's:
    errors up to genErr, and no exception values)."""
    command, f1, f2, asked = request
    got_command, _, errstat, errindex, got = answer
    if got_command != RESPONSE or not 0 <= errstat <= (5 if v1 else 18) or \
            not 0 <= errindex <= len(asked):
        raise Malformed("bad response header")
    if v1 and any(g[1] in (NO_SUCH_OBJECT, NO_SUCH_INSTANCE, END_OF_MIB_VIEW) for g in got):
        raise Malformed("an exception value in an SNMPv1 answer")
    if errstat == TOO_BIG:
        return
    names = [name for name, _ in asked]
    forward = lambda g, a: g[0] > a or (g[1] == END_OF_MIB_VIEW and g[0] == a)
    if command != GETBULK:
        if len(got) != len(asked):
            raise Malformed("varbind count")
        for g, a in zip(got, names):
            ok = forward(g, a) if command == GETNEXT and errstat == 0 else g[0] == a
            if not ok:
                raise Malformed("answer %s to %s" % (g[0], a))
        return
    if errstat:
        return
    n = min(f1, len(names))
    columns = len(names) - n
    if len(got) > n + f2 * columns:
        raise Malformed("too many GETBULK varbinds")
    for i, g in enumerate(got):
        previous = names[i] if i < n + columns else got[i - columns][0]
        # net-snmp 5.9 names a repeater's endOfMibView after another varbind of the request.
        if i >= n and g[1] == END_OF_MIB_VIEW:
            continue
        if not forward(g, previous):
            raise Malformed("GETBULK answer %s after %s" % (g[0], previous))


# ---- the switch and snmpd ----------------------------------------------------------------

class Switch:
    """The simulated switch's control socket, one command per connection."""

    def __init__(self, path):
        self.path = path

    def run(self, line):
        with socket.socket(socket.AF_UNIX, socket.SOCK_STREAM) as s:
            s.settimeout(30)
            s.connect(self.path)
            s.sendall(line.encode() + b"\n")
            chunks = []
            while True:
                chunk = s.recv(65536)
                if not chunk:
                    break
                chunks.append(chunk)
        return b"".join(chunks).decode()

    def input_config(self):
        """The input configuration as `show` prints it: the VLANs less their live port status,
        the switchports' input columns (port, mode, access, native, allowed) less what the
        switch has applied so far."""
        vlans = [line.rsplit(None, 1)[0] for line in self.run("show vlans").splitlines()[2:]]
        ports = [" ".join(line.split()[:5]) for line in self.run("show switchports").splitlines()]
        return "\n".join(vlans) + "\n" + "\n".join(ports)


class Snmpd:
    """A private snmpd with the plug-in, on 127.0.0.1:port."""

    def __init__(self, plugin, port, workdir, preload):
        self.workdir, self.port = workdir, port
        self.socket = os.path.join(workdir, "control.sock")
        self.out = os.path.join(workdir, "snmpd.out")
        conf = os.path.join(workdir, "snmpd.conf")
        with open(conf, "w") as f:
            f.write("rocommunity public 127.0.0.1\nrwcommunity private 127.0.0.1\n"
                    "dlmod bridgesnmp %s\nbridgesnmpControlSocket %s\n" % (plugin, self.socket))
        # A persistent directory of its own: snmpd writes an snmpd.conf there.
        persist = os.path.join(workdir, "persist")
        os.mkdir(persist)
        env = dict(os.environ, SNMPCONFPATH=workdir, SNMP_PERSISTENT_DIR=persist, MIBS="",
                   ASAN_OPTIONS="detect_leaks=0:abort_on_error=1",
                   UBSAN_OPTIONS="print_stacktrace=1:halt_on_error=1")
        if preload:
            env["LD_PRELOAD"] = preload
        with open(self.out, "w") as out:
            self.process = subprocess.Popen(
                ["snmpd", "-f", "-C", "-c", conf, "-Lf", os.path.join(workdir, "snmpd.log"),
                 "udp:127.0.0.1:%d" % port], stdout=out, stderr=subprocess.STDOUT, env=env)
        for _ in range(300):
            if os.path.exists(self.socket):
                return
            self.require_alive()
            time.sleep(0.1)
        self.process.kill()
        raise SystemExit("snmpd did not open the control socket; see " + self.out)

    def alive(self):
        return self.process.poll() is None

    def require_alive(self):
        if not self.alive():
            raise SystemExit("snmpd died:\n" + self.sanitizer_report())

    def sanitizer_report(self):
        with open(self.out, errors="replace") as f:
            text = f.read()
        hits = re.findall(r".*(?:AddressSanitizer|runtime error|LeakSanitizer).*", text)
        return "\n".join(hits[:20])

    def rss_kb(self):
        with open("/proc/%d/status" % self.process.pid) as f:
            return int(re.search(r"VmRSS:\s+(\d+)", f.read()).group(1))

    def stop(self):
        self.process.send_signal(signal.SIGTERM)
        try:
            self.process.wait(30)
        except subprocess.TimeoutExpired:
            self.process.kill()


class Run:
    """Shared state of the lanes: counters, the first failure, the stop flag."""

    def __init__(self):
        self.lock = threading.Lock()
        # Held by whoever may change the switch's configuration with a SET, from before it
        # is sent until its answer is in: the set lane compares the configuration around
        # each of its SETs.
        self.config_lock = threading.Lock()
        self.counts = {}
        self.failure = None
        self.stop = threading.Event()

    def count(self, what, n=1):
        with self.lock:
            self.counts[what] = self.counts.get(what, 0) + n

    def fail(self, text):
        with self.lock:
            if self.failure is None:
                self.failure = text
        self.stop.set()


def exchange(sock, data, timeout=5.0):
    sock.settimeout(timeout)
    sock.send(data)
    return sock.recv(65535)


def walk(run, port, rng):
    """One GETBULK walk of a random table: strictly increasing, ends past the table."""
    entry = rng.choice(TABLES)[0]
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as s:
        s.connect(("127.0.0.1", port))
        at, steps = entry, 0
        while not run.stop.is_set():
            reqid = rng.randrange(1 << 24, 1 << 31)
            try:
                answer = parse_message(exchange(s, message(b"public", GETBULK, reqid, 0, 25,
                                                           [(at, tlv(NULL, b""))]), 20))
            except (socket.timeout, Malformed) as e:
                return run.fail("walk of %s stopped after %d steps: %r" % (entry, steps, e))
            if answer[1] != reqid or answer[2] != 0:
                return run.fail("walk of %s: answer %r" % (entry, answer[:4]))
            for name, tag, _ in answer[4]:
                if tag == END_OF_MIB_VIEW or name[:len(entry)] != entry:
                    run.count("walks")
                    run.count("walk steps", steps)
                    return
                if name <= at:
                    return run.fail("walk of %s went from %s to %s" % (entry, at, name))
                at, steps = name, steps + 1


def walk_lane(run, port, seed):
    rng = random.Random(seed)
    while not run.stop.is_set():
        walk(run, port, rng)


def set_lane(run, port, switch, seed, check_config):
    """SETs one at a time; a refused one must leave the input configuration as it was."""
    rng = random.Random(seed)
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as s:
        s.connect(("127.0.0.1", port))
        while not run.stop.is_set():
            request = (SET, 0, 0, [random_set_value(rng) for _ in range(rng.randrange(1, 5))])
            reqid = rng.randrange(1 << 24, 1 << 31)
            with run.config_lock:
                before = switch.input_config() if check_config else None
                try:
                    answer = parse_message(exchange(s, message(b"private", SET, reqid, 0, 0,
                                                               request[3])))
                    check_answer(request, answer)
                except (socket.timeout, Malformed) as e:
                    return run.fail("SET %r: %r" % (request[3], e))
                changed = check_config and answer[2] != 0 and switch.input_config() != before
            run.count("set lane SETs")
            if answer[2] == 0:
                run.count("accepted SETs")
            else:
                run.count("refused SETs")
                if changed:
                    return run.fail("refused SET %r changed the configuration" % (request[3],))


def churn_lane(run, switch, seed, soak):
    """The switch's own changes; in a soak about 10,000 a second."""
    rng = random.Random(seed)
    hosts, tick, flapped = [], 0, None
    while not run.stop.is_set():
        started = time.monotonic()
        tick += 1
        try:
            changes = 0
            if soak:
                changes += int(switch.run("burst 500 8 seed %d" % tick).split()[-1])
                changes += int(switch.run("flush intf Ethernet%d" % (tick % 8 + 1)).split()[-1])
                vlan = 600 + tick % 50
                for line in ("vlan add %d name soak%d" % (vlan, tick), "vlan name %d renamed" % vlan,
                             "vlan del %d" % vlan):
                    switch.run(line)
                    changes += 1
            for _ in range(20):
                mac = "02:5a:%02x:%02x:%02x:%02x" % tuple(rng.randrange(256) for _ in range(4))
                switch.run("learn 10 %s Ethernet%d" % (mac, rng.randrange(9, 17)))
                hosts.append(mac)
                changes += 1
            for mac in rng.sample(hosts, min(10, len(hosts))):
                reply = switch.run("move 10 %s Ethernet%d" % (mac, rng.randrange(9, 17)))
                changes += reply.startswith("ok")
            for _ in range(min(20, len(hosts))):
                changes += switch.run("age 10 %s" % hosts.pop(rng.randrange(len(hosts)))
                                      ).startswith("ok")
            port = "Ethernet%d" % rng.randrange(25, 33)
            if flapped:
                switch.run("link %s up" % flapped)
                flapped = None
            elif switch.run("link %s down" % port).startswith("ok"):
                flapped = port
            changes += 1
        except OSError as e:
            return run.fail("control socket: %r" % e)
        run.count("switch changes", changes)
        time.sleep(max(0.0, 0.1 - (time.monotonic() - started)))


def request_lane(run, port, seed, pdus, window=64):
    """Random requests (every answer checked) and mutated ones (any answer well-formed), in
    SNMPv2c and SNMPv1. GETs go many at a time; SETs, with the write community so that they
    reach the tables, one at a time under the configuration lock."""
    rng = random.Random(seed)
    templates = []
    for _ in range(4000):
        request = random_request(rng)
        version = 0 if request[0] != GETBULK and rng.random() < 0.15 else 1
        data = bytearray(message(b"public", request[0], 1 << 24, request[1], request[2],
                                 request[3], version))
        # A SET as it is sent unmutated: with the write community, so that it reaches the
        # tables. Mutated PDUs keep the read community: one that a mutation left a valid SET
        # must not change the configuration outside the lock.
        writable = message(b"private", request[0], 1 << 24, request[1], request[2], request[3],
                           version) if request[0] == SET else None
        templates.append((request, data, data.index(b"\x02\x04\x01\x00\x00\x00") + 2,
                          version == 0, writable))
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as setter:
        setter.connect(("127.0.0.1", port))
        _request_lane(run, port, rng, templates, setter, pdus, window)


def set_through_lock(run, setter, request, data, v1):
    """Sends one SET and waits for its answer, holding the configuration lock."""
    with run.config_lock:
        try:
            answer = parse_message(exchange(setter, bytes(data), timeout=10.0))
            check_answer(request, answer, v1)
        except (socket.timeout, Malformed) as e:
            run.fail("SET %r: %r" % (request[3], e))
            return False
    run.count("answers checked")
    run.count("accepted SETs" if answer[2] == 0 else "refused SETs")
    return True


def _request_lane(run, port, rng, templates, setter, pdus, window):
    sockets = []
    for _ in range(2):
        s = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        s.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 1 << 22)
        s.connect(("127.0.0.1", port))
        s.setblocking(False)
        sockets.append(s)
    checked, mutated = sockets
    selector = selectors.DefaultSelector()
    for s in sockets:
        selector.register(s, selectors.EVENT_READ)
    pending, next_id, sent = {}, 1 << 24, 0
    last_answer = time.monotonic()
    while not run.stop.is_set() and sent < pdus:
        while len(pending) < window and sent < pdus:
            request, data, at, v1, writable = rng.choice(templates)
            mutate = rng.random() < 0.2
            if mutate:
                data = bytearray(data)
                for _ in range(rng.randrange(1, 4)):
                    data[rng.randrange(len(data))] = rng.randrange(256)
                run.count("mutated PDUs")
            if writable and not mutate:
                if not set_through_lock(run, setter, request, writable, v1):
                    return
            elif mutate:
                mutated.send(data)
            else:
                next_id = next_id + 1 if next_id < (1 << 31) - 1 else 1 << 24
                data[at:at + 4] = next_id.to_bytes(4, "big")
                checked.send(data)
                pending[next_id] = (request, v1, time.monotonic())
            run.count("SNMPv1 PDUs" if v1 else "SNMPv2c PDUs")
            sent += 1
        for key, _ in selector.select(0.5):
            while True:
                try:
                    datagram = key.fileobj.recv(65535)
                except BlockingIOError:
                    break
                last_answer = time.monotonic()
                try:
                    answer = parse_message(datagram)
                    if key.fileobj is checked:
                        request, v1, _ = pending.pop(answer[1])
                        check_answer(request, answer, v1)
                        run.count("answers checked")
                    else:
                        run.count("mutated answers")
                except (Malformed, KeyError) as e:
                    return run.fail("answer %r: %r" % (bytes(datagram[:64]), e))
        now = time.monotonic()
        for reqid in [k for k, (_, _, t) in pending.items() if now - t > 10]:
            del pending[reqid]
            run.count("unanswered")
        if now - last_answer > 20:
            return run.fail("no answer for 20 s")
    run.count("request lane PDUs", sent)


def hostile_lane(run, port, switch, seed, budget):
    """After a burst of 100,000 hosts: GETs and GETNEXTs of 60 varbinds naming rows of the
    forwarding tables that do not exist (between rows, short, over-long, out of range), each
    answered within `budget` seconds."""
    rng = random.Random(seed)
    try:
        switch.run("burst 100000 8 seed %d" % seed)
    except OSError as e:
        return run.fail("control socket: %r" % e)
    columns = [(1, 3, 6, 1, 2, 1, 17, 7, 1, 2, 2, 1, 2, 1), (1, 3, 6, 1, 2, 1, 17, 4, 3, 1, 2),
               (1, 3, 6, 1, 4, 1, 32473, 3, 2, 1, 1, 2, 0, 1)]
    suffixes = [lambda: MAC_INDEX(rng), lambda: MAC_INDEX(rng)[:rng.randrange(6)],
                lambda: MAC_INDEX(rng) + (rng.randrange(9),),
                lambda: (rng.randrange(256), 2**32 - 1, 300, 0)]
    worst = 0.0
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as s:
        s.connect(("127.0.0.1", port))
        while not run.stop.is_set():
            names = [rng.choice(columns) + rng.choice(suffixes)() for _ in range(60)]
            command = rng.choice([GET, GETNEXT])
            request = (command, 0, 0, [(name, tlv(NULL, b"")) for name in names])
            started = time.monotonic()
            try:
                answer = parse_message(exchange(s, message(b"public", command,
                                                           rng.randrange(1 << 24, 1 << 31), 0,
                                                           0, request[3])))
                check_answer(request, answer)
            except (socket.timeout, Malformed) as e:
                return run.fail("hostile request: %r" % e)
            took = time.monotonic() - started
            worst = max(worst, took)
            run.count("hostile PDUs")
            run.counts["hostile worst ms"] = int(worst * 1000)
            if took > budget:
                return run.fail("a hostile %s of 60 varbinds took %.3f s (budget %.3f s)" %
                                ("GET" if command == GET else "GETNEXT", took, budget))


# ---- the runs ---------------------------------------------------------------------------

def start_lanes(run, args, snmpd, switch, soak):
    lanes = [threading.Thread(target=walk_lane, args=(run, args.port, 11), daemon=True),
             threading.Thread(target=set_lane, args=(run, args.port, switch, 12, not soak),
                              daemon=True),
             threading.Thread(target=churn_lane, args=(run, switch, 13, soak), daemon=True)]
    for lane in lanes:
        lane.start()
    return lanes


def watch(run, snmpd, until):
    while not run.stop.is_set() and not until():
        if not snmpd.alive():
            run.fail("snmpd died")
        elif snmpd.sanitizer_report():
            run.fail("sanitizer report")
        run.stop.wait(1)


def finish(run, snmpd, extra=""):
    run.stop.set()
    time.sleep(1)
    report = snmpd.sanitizer_report()
    alive = snmpd.alive()
    snmpd.stop()
    for key in sorted(run.counts):
        print("%-22s %d" % (key, run.counts[key]))
    print(extra, end="")
    if run.failure or report or not alive:
        print("FAILED: %s\n%s" % (run.failure or "snmpd died", report))
        return 1
    print("PASSED")
    return 0


def storm(args, workdir):
    snmpd = Snmpd(args.plugin, args.port, workdir, args.preload)
    switch = Switch(snmpd.socket)
    run = Run()
    initial = switch.input_config()
    start_lanes(run, args, snmpd, switch, soak=False)
    requests = threading.Thread(target=request_lane, args=(run, args.port, 14, args.pdus))
    requests.start()
    threading.Thread(target=hostile_lane, args=(run, args.port, switch, 15, args.budget),
                     daemon=True).start()
    started = time.monotonic()
    watch(run, snmpd, lambda: not requests.is_alive())
    seconds = time.monotonic() - started
    extra = "%-22s %.0f\n" % ("seconds", seconds)
    # With every SET refused, the configuration must be the one the switch started with.
    if not run.failure and snmpd.alive() and not run.counts.get("accepted SETs") and \
            switch.input_config() != initial:
        run.fail("the input configuration changed though every SET was refused")
    return finish(run, snmpd, extra)


def soak(args, workdir):
    snmpd = Snmpd(args.plugin, args.port, workdir, args.preload)
    switch = Switch(snmpd.socket)
    run = Run()
    start_lanes(run, args, snmpd, switch, soak=True)
    started, samples = time.monotonic(), []

    def sample():
        elapsed = time.monotonic() - started
        if not samples or elapsed - samples[-1][0] >= args.sample:
            samples.append((elapsed, snmpd.rss_kb(), run.counts.get("switch changes", 0)))
            print("t=%6.0f s  rss=%7d kB  changes=%d  walks=%d" % (
                samples[-1][0], samples[-1][1], samples[-1][2], run.counts.get("walks", 0)),
                flush=True)
        return elapsed >= args.duration

    watch(run, snmpd, sample)
    warm = [s for s in samples if s[0] >= args.warmup]
    extra = ""
    if len(warm) >= 2:
        base = warm[0][1]
        low, high = min(s[1] for s in warm), max(s[1] for s in warm)
        rate = (samples[-1][2] - warm[0][2]) / max(1.0, samples[-1][0] - warm[0][0])
        extra = ("RSS start %d kB, after warm-up %d kB, end %d kB, band %d..%d kB "
                 "(%+.1f%%..%+.1f%%); %.0f changes/s\n" % (
                     samples[0][1], base, samples[-1][1], low, high,
                     100.0 * (low - base) / base, 100.0 * (high - base) / base, rate))
        if high > base * 1.05 or low < base * 0.95:
            run.fail("RSS left the 5 % band after warm-up")
    else:
        run.fail("the soak ended before its warm-up")
    return finish(run, snmpd, extra)


def seconds(text):
    """A duration: plain seconds, or with an s, m or h suffix."""
    scale = {"s": 1, "m": 60, "h": 3600}.get(text[-1:], None)
    return float(text[:-1]) * scale if scale else float(text)


def main():
    parser = argparse.ArgumentParser(description=__doc__,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("mode", choices=["storm", "soak"])
    parser.add_argument("--plugin", required=True, help="bridgesnmp.so to load")
    parser.add_argument("--preload", default="", help="sanitizer runtime for LD_PRELOAD")
    parser.add_argument("--port", type=int, default=0, help="UDP port (default: a free one)")
    parser.add_argument("--pdus", type=int, default=1000000, help="storm: PDUs to send")
    parser.add_argument("--budget", type=float, default=0.5,
                        help="storm: seconds a hostile request of 60 varbinds may take")
    parser.add_argument("--duration", type=seconds, default=600, help="soak: 600, 10m, 1h")
    parser.add_argument("--warmup", type=seconds, default=None,
                        help="soak: time not judged (default a fifth, at most 5m)")
    parser.add_argument("--sample", type=float, default=10, help="soak: seconds between RSS")
    args = parser.parse_args()
    args.plugin = os.path.abspath(args.plugin)
    if not args.port:
        with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as probe:
            probe.bind(("127.0.0.1", 0))
            args.port = probe.getsockname()[1]
    if args.warmup is None:
        args.warmup = min(300.0, args.duration / 5)
    with tempfile.TemporaryDirectory(prefix="bridgesnmp-%s-" % args.mode) as workdir:
        if os.environ.get("STORM_KEEP"):
            workdir = tempfile.mkdtemp(prefix="bridgesnmp-kept-")
            print("working in", workdir)
        sys.exit((storm if args.mode == "storm" else soak)(args, workdir))


if __name__ == "__main__":
    main()
