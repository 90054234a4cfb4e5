"""A router with 1,000 interfaces and 10,000 routes (examples/scale-mib.json):
complete snmpwalks of the interface tables and both route tables finish in
bounded time, every column holding exactly one binding per row."""

import collections
import subprocess
import time
import unittest

import harness

IF_NUMBER = "1.3.6.1.2.1.2.1.0"
CIDR_NUMBER = "1.3.6.1.2.1.4.24.3.0"
IF_ENTRY = "1.3.6.1.2.1.2.2.1"
IFX_ENTRY = "1.3.6.1.2.1.31.1.1.1"
CIDR_ENTRY = "1.3.6.1.2.1.4.24.4.1"
ROUTE_ENTRY = "1.3.6.1.2.1.4.21.1"

IF_COLUMNS = list(range(1, 22))
IFX_COLUMNS = [1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 15]
CIDR_COLUMNS = list(range(1, 17))
ROUTE_COLUMNS = list(range(1, 14))

# No walk may take longer than this; a stuck agent fails the test instead
# of holding the run.
WALK_LIMIT_S = 240


def scale_scenario():
    return harness.example_scenario("scale-mib.json")


def repeat_count(scenario, path):
    return sum(item["repeat"]["count"] if "repeat" in item else 1
               for item in scenario["services"][path]["list"])


def route_destination(n):
    """The n-th generated route's destination, 10.0.0.0/24 counting up."""
    dest = (10 << 24) + 256 * n
    return "%d.%d.%d.0" % (dest >> 24, (dest >> 16) & 255, (dest >> 8) & 255)


def cidr_index(n):
    """destination.mask.0.nexthop of the n-th generated route."""
    return route_destination(n) + ".255.255.255.0.0.192.0.2.1"


class ScaleWalkTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.scenario = scale_scenario()
        cls.interfaces = repeat_count(cls.scenario, "20,0")
        cls.routes = repeat_count(cls.scenario, "44,1")
        cls.agent = harness.SnmpAgent(cls.scenario, prefix="sarn-scale-")

    @classmethod
    def tearDownClass(cls):
        cls.agent.stop()

    def walk_all(self, roots):
        """Walks every root at once (one snmpwalk each, so that the agent is
        never idle while a client parses); {root: output lines}."""
        procs = {}
        for root in roots:
            cmd = ["snmpwalk", "-v", "2c", "-c", self.agent.COMMUNITY, "-t", "10", "-r", "0",
                   "-On", "127.0.0.1:%d" % self.agent.port, root]
            procs[root] = subprocess.Popen(cmd, stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                                           stdin=subprocess.DEVNULL, universal_newlines=True)
        lines = {}
        try:
            deadline = time.monotonic() + WALK_LIMIT_S
            for root, proc in procs.items():
                out, err = proc.communicate(timeout=max(1, deadline - time.monotonic()))
                self.assertEqual(proc.returncode, 0, "snmpwalk %s: %s" % (root, err))
                lines[root] = [l for l in out.split("\n") if l.startswith(".")]
        finally:
            for proc in procs.values():
                if proc.poll() is None:
                    proc.kill()
                    proc.wait()
        return lines

    def assert_columns(self, lines, entry, columns, indexes):
        """Every column of the table once per index, in walk order."""
        by_column = collections.OrderedDict()
        for line in lines:
            name = line.split(" = ", 1)[0].lstrip(".")
            self.assertTrue(name.startswith(entry + "."), name)
            column, _, index = name[len(entry) + 1:].partition(".")
            by_column.setdefault(int(column), []).append(index)
        self.assertEqual(list(by_column), columns)
        for column, got in by_column.items():
            self.assertEqual(got, indexes, "column %d" % column)

    def test_complete_walks_of_the_interface_and_route_tables(self):
        self.assertEqual(self.agent.get(IF_NUMBER, CIDR_NUMBER),
                         {IF_NUMBER: ("INTEGER", self.interfaces),
                          CIDR_NUMBER: ("Gauge32", self.routes)})

        start = time.monotonic()
        walks = self.walk_all([IF_ENTRY, IFX_ENTRY, CIDR_ENTRY, ROUTE_ENTRY])
        elapsed = time.monotonic() - start

        total = sum(len(lines) for lines in walks.values())
        self.assertEqual(total, (len(IF_COLUMNS) + len(IFX_COLUMNS)) * self.interfaces +
                         (len(CIDR_COLUMNS) + len(ROUTE_COLUMNS)) * self.routes)
        interface_indexes = [str(i) for i in range(1, self.interfaces + 1)]
        self.assert_columns(walks[IF_ENTRY], IF_ENTRY, IF_COLUMNS, interface_indexes)
        self.assert_columns(walks[IFX_ENTRY], IFX_ENTRY, IFX_COLUMNS, interface_indexes)
        # Generated destinations are distinct, so both route tables have a
        # row per route.
        self.assert_columns(walks[CIDR_ENTRY], CIDR_ENTRY, CIDR_COLUMNS,
                            [cidr_index(n) for n in range(self.routes)])
        self.assert_columns(walks[ROUTE_ENTRY], ROUTE_ENTRY, ROUTE_COLUMNS,
                            [route_destination(n) for n in range(self.routes)])
        print("\n%d bindings walked in %.1f s" % (total, elapsed))


if __name__ == "__main__":
    unittest.main()
