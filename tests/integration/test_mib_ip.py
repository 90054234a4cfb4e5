"""The IP group, its address, neighbour and route tables and the two
enterprise queue tables, walked with net-snmp's tools against snmpd and
kxsim serving the example router and compared with the scenario value by
value; ipCidrRouteNumber from the route service's count and from the rows;
failing and silent services."""

import time
import unittest

import harness
from harness import objects

IP = "1.3.6.1.2.1.4"
ADDR_ENTRY = IP + ".20.1"
ROUTE_ENTRY = IP + ".21.1"
NET_TO_MEDIA_ENTRY = IP + ".22.1"
CIDR_NUMBER = IP + ".24.3.0"
CIDR_ENTRY = IP + ".24.4.1"
QUEUES = "1.3.6.1.4.1.32473.1.1.2"
QUEUE_ENTRY = QUEUES + ".1.1"
QUEUE_TREE_ENTRY = QUEUES + ".2.1"

ROUTES = "44,1"
COUNT = 0xfe0015
GET_ALL = 0xfe0004

# Route kinds of the example: (ipRouteType, ipRouteProto, ipCidrRouteType,
# ipCidrRouteProto).  The two protocol columns code a kind differently.
ROUTE_CODES = {2: (3, 1, 3, 2), 3: (4, 2, 4, 3), 4: (4, 8, 4, 8)}
# Values that follow time are held at this point of the run.
FROZEN_AT_S = 3600


def frozen_example():
    return harness.held_still(harness.example_scenario(), FROZEN_AT_S)


def quad(value):
    """A scenario address (dotted quad) as its four octets."""
    return [int(x) for x in value.split(".")]


def sub(octets):
    return ".".join(str(o) for o in octets)


def inactive(o):
    return o.get("0x00fe0008", False) or o.get("0x00fe000a", False)


def ip(text):
    return ("IpAddress", text)


def integer(v):
    return ("INTEGER", v)


def route_rows(scenario):
    """One (destination, mask, next hop, ifIndex, metric, kind) per gateway
    row the route list should make."""
    rows = []
    for o in objects(scenario, ROUTES):
        if inactive(o):
            continue
        kind, gateways = o["0x08000007"], o.get("0x88000004", [])
        interfaces = o.get("0x88000005", [])
        common = (o["0x08000001"], o["0x08000002"])
        if not gateways and kind == 2:
            rows.append(common + (o["0x08000003"], (interfaces or [0])[0], o["0x08000008"],
                                  kind))
            continue
        enabled = o.get("0x88000006")
        for i, gateway in enumerate(gateways):
            if enabled is not None and i < len(enabled) and enabled[i] == 0:
                continue
            rows.append(common + (gateway, interfaces[i] if i < len(interfaces) else 0,
                                  o["0x08000008"], kind))
    return rows


def expected_ip_group(scenario):
    """Every binding of a walk of the IP group, in walk order."""
    b = [(IP + ".1.0", integer(1)), (IP + ".2.0", integer(255))]
    for o in objects(scenario, "20,1"):
        if inactive(o):
            continue
        i = sub(quad(o["0x08000001"]))
        b += [("%s.1.%s" % (ADDR_ENTRY, i), ip(o["0x08000001"])),
              ("%s.2.%s" % (ADDR_ENTRY, i), integer(o["0x08000005"])),
              ("%s.3.%s" % (ADDR_ENTRY, i), ip(o["0x08000003"])),
              ("%s.4.%s" % (ADDR_ENTRY, i), integer(1)),
              ("%s.5.%s" % (ADDR_ENTRY, i), integer(65535))]
    routes = route_rows(scenario)
    by_destination = {}
    for r in routes:
        by_destination[r[0]] = r  # the last gateway of a destination wins
    for dest, mask, hop, ifindex, metric, kind in by_destination.values():
        route_type, route_proto = ROUTE_CODES[kind][:2]
        values = {1: ip(dest), 2: integer(ifindex), 3: integer(metric), 4: integer(-1),
                  5: integer(-1), 6: integer(-1), 7: ip(hop), 8: integer(route_type),
                  9: integer(route_proto), 10: integer(0), 11: ip(mask), 12: integer(-1),
                  13: ("OID", "0.0")}
        b += [("%s.%d.%s" % (ROUTE_ENTRY, c, sub(quad(dest))), v) for c, v in values.items()]
    for o in objects(scenario, "20,8"):
        i = "%d.%s" % (o["0x08000003"], sub(quad(o["0x08000001"])))
        kind = 2 if o.get("0x00fe0008") else 3 if o.get("0x00fe0007") else 4
        b += [("%s.1.%s" % (NET_TO_MEDIA_ENTRY, i), integer(o["0x08000003"])),
              ("%s.2.%s" % (NET_TO_MEDIA_ENTRY, i),
               ("STRING", bytes.fromhex(o["0x30000002"].replace(":", "")))),
              ("%s.3.%s" % (NET_TO_MEDIA_ENTRY, i), ip(o["0x08000001"])),
              ("%s.4.%s" % (NET_TO_MEDIA_ENTRY, i), integer(kind))]
    b.append((CIDR_NUMBER, ("Gauge32", len(routes))))
    for dest, mask, hop, ifindex, metric, kind in routes:
        cidr_type, cidr_proto = ROUTE_CODES[kind][2:]
        i = "%s.%s.0.%s" % (sub(quad(dest)), sub(quad(mask)), sub(quad(hop)))
        values = {1: ip(dest), 2: ip(mask), 3: integer(0), 4: ip(hop), 5: integer(ifindex),
                  6: integer(cidr_type), 7: integer(cidr_proto), 8: integer(0),
                  9: ("OID", "0.0"), 10: integer(0), 11: integer(metric), 12: integer(-1),
                  13: integer(-1), 14: integer(-1), 15: integer(-1), 16: integer(1)}
        b += [("%s.%d.%s" % (CIDR_ENTRY, c, i), v) for c, v in values.items()]
    return sorted(b, key=lambda binding: [int(x) for x in binding[0].split(".")])


def expected_queues(scenario):
    b = []
    for o in objects(scenario, "20,9"):
        targets = o.get("0x88000069", [])
        first, second = targets[:2] if len(targets) >= 2 else ("0.0.0.0", "0.0.0.0")
        values = [("STRING", o["0x20000002"].encode()), ip(first), ip(second),
                  ip(o["0x08000065"]), ip(o["0x08000067"]), integer(o["0x08000068"]),
                  ("Counter64", o["0x1000012c"]), ("Counter64", o["0x100000c8"]),
                  ("Counter32", o["0x0800012d"]), ("Counter32", o["0x080000c9"])]
        b += [("%s.%d.%d" % (QUEUE_ENTRY, c, o["0x08fe0001"]), v)
              for c, v in zip(range(2, 12), values)]
    for o in objects(scenario, "20,12"):
        texts = o.get("0xa000000c", [])
        counter = o["0x100000c8"]
        values = [("STRING", o["0x20000002"].encode()),
                  ("STRING", texts[0].encode() if texts else b""), integer(o["0x08000001"]),
                  ("Counter32", counter & 0xffffffff), ("Counter32", o["0x080000c9"]),
                  ("Counter64", counter)]
        b += [("%s.%d.%d" % (QUEUE_TREE_ENTRY, c, o["0x08fe0001"]), v)
              for c, v in zip(range(2, 8), values)]
    return sorted(b, key=lambda binding: [int(x) for x in binding[0].split(".")])


def requests_to(journal, path, command):
    return [m for m in journal if m.get("0x88ff0001") == path and m.get("0x08ff0007") == command]


class ExampleIpTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.scenario = frozen_example()
        cls.agent = harness.SnmpAgent(cls.scenario)

    @classmethod
    def tearDownClass(cls):
        cls.agent.stop()

    def test_ip_group_matches_the_scenario(self):
        self.assertEqual(self.agent.walk(IP), expected_ip_group(self.scenario))
        # The example's route service cannot count: the number came from
        # the rows, after the count command was tried.
        journal = self.agent.journal()
        self.assertGreaterEqual(len(requests_to(journal, [44, 1], COUNT)), 1)
        self.assertGreaterEqual(len(requests_to(journal, [44, 1], GET_ALL)), 1)

    def test_queue_tables_match_the_scenario(self):
        self.assertEqual(self.agent.walk(QUEUES), expected_queues(self.scenario))


class RouteNumberTest(unittest.TestCase):
    def test_number_is_the_route_services_count_when_it_answers(self):
        scenario = frozen_example()
        del scenario["services"][ROUTES]["count"]
        # Only a router whose route count differs from its row count tells
        # the two sources apart.
        self.assertNotEqual(len(objects(scenario, ROUTES)), len(route_rows(scenario)))
        with harness.SnmpAgent(scenario) as agent:
            # The service counts routes, disabled ones included; no list is
            # fetched for it.
            got = agent.get(CIDR_NUMBER)
            self.assertEqual(got, {CIDR_NUMBER: ("Gauge32", len(objects(scenario, ROUTES)))})
            journal = agent.journal()
            self.assertEqual(len(requests_to(journal, [44, 1], COUNT)), 1)
            self.assertEqual(requests_to(journal, [44, 1], GET_ALL), [])


class FailingServicesTest(unittest.TestCase):
    def test_refused_routes_leave_empty_route_tables(self):
        scenario = harness.with_fault(frozen_example(), ROUTES,
                              {"error": ["0xfe0006", "refused by the simulator"]})
        with harness.SnmpAgent(scenario) as agent:
            self.assertEqual(agent.get(CIDR_NUMBER), {CIDR_NUMBER: ("Gauge32", 0)})
            got = agent.walk(IP)
            names = [oid for oid, _ in got]
            self.assertFalse([n for n in names if n.startswith((ROUTE_ENTRY, CIDR_ENTRY))])
            expected = [b for b in expected_ip_group(scenario)
                        if b[0].startswith((ADDR_ENTRY, NET_TO_MEDIA_ENTRY))]
            self.assertEqual([b for b in got if b[0].startswith((ADDR_ENTRY, NET_TO_MEDIA_ENTRY))],
                             expected)

    def test_silent_neighbours_time_out_and_the_walk_goes_on(self):
        scenario = harness.with_fault(frozen_example(), "20,8", {"silent": True})
        with harness.SnmpAgent(scenario) as agent:
            start = time.monotonic()
            # The neighbour table stays empty after the bus time-out; the
            # next object answered is the route count.
            got = agent.getnext(NET_TO_MEDIA_ENTRY)
            self.assertGreaterEqual(time.monotonic() - start, 5.5)
            self.assertEqual(got, [(CIDR_NUMBER, ("Gauge32", len(route_rows(scenario))))])
            # The routes come from another service, which still answers at
            # once.  (The walk stays inside the table: the objects after it
            # may read the held service again.)
            start = time.monotonic()
            routes = agent.walk(CIDR_ENTRY + ".4")
            rows = sorted(route_rows(scenario), key=lambda r: quad(r[0]) + quad(r[1]) + quad(r[2]))
            self.assertEqual([v for _, v in routes], [ip(r[2]) for r in rows])
            self.assertLess(time.monotonic() - start, 5.0)


if __name__ == "__main__":
    unittest.main()
