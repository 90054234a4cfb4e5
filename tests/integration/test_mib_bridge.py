"""The bridge objects and the enterprise health scalars, read with net-snmp's
tools against snmpd and kxsim serving the example router, value by value.
Refusing services are in test_mib_system's FaultTest."""

import unittest

import harness
from harness import fixed, mac_bytes, objects, record
from test_mib_system import mib_agent

BRIDGE = "1.3.6.1.2.1.17"
FDB = BRIDGE + ".4.3.1."
HEALTH = "1.3.6.1.4.1.32473.1.1.3"
BRIDGE_KIND = 12


def mac_index(mac):
    return ".".join(str(b) for b in mac_bytes(mac))


class ExampleBridgeTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.scenario = harness.example_scenario()
        cls.router = mib_agent(cls.scenario)

    @classmethod
    def tearDownClass(cls):
        cls.router.stop()

    def test_bridge_address_stp_and_forwarding_table_of_the_first_bridge(self):
        interfaces = sorted(objects(self.scenario, "20,0"), key=lambda i: i["0x08fe0001"])
        bridge = next(i for i in interfaces if fixed(i.get("0x08010001", 0)) == BRIDGE_KIND)
        hosts = [h for h in objects(self.scenario, "16,3")
                 if h["0x08000005"] == bridge["0x08fe0001"]]
        others = [h for h in objects(self.scenario, "16,3") if h not in hosts]
        self.assertTrue(hosts and others, "the example needs entries of two bridges")
        hosts.sort(key=lambda h: mac_bytes(h["0x30000002"]))

        expected = [(BRIDGE + ".1.1.0", ("STRING", mac_bytes(bridge["0x300003e9"]))),
                    (BRIDGE + ".2.1.0", ("INTEGER", 3)), (BRIDGE + ".2.2.0", ("INTEGER", fixed(bridge["0x08000002"])))]
        for column, value in ((1, lambda h: ("STRING", mac_bytes(h["0x30000002"]))),
                              (2, lambda h: ("INTEGER", fixed(h["0x08000001"]))),
                              (3, lambda h: ("INTEGER", 4 if h.get("0x00000004") else 3))):
            expected += [(FDB + "%d.%s" % (column, mac_index(h["0x30000002"])), value(h))
                         for h in hosts]
        got = self.router.walk(BRIDGE)
        self.assertEqual(got, expected)
        for other in others:
            self.assertNotIn(mac_index(other["0x30000002"]), " ".join(oid for oid, _ in got))

        # A single entry by its MAC index; a MAC that is not there; objects
        # of the bridge MIB that are not served.
        oid = FDB + "2." + mac_index(hosts[0]["0x30000002"])
        self.assertEqual(self.router.get(oid), {oid: ("INTEGER", fixed(hosts[0]["0x08000001"]))})
        for oid in (FDB + "2.1.2.3.4.5.6", BRIDGE + ".1.2.0", BRIDGE + ".2.3.0"):
            self.assertIn("noSuchName", self.router.error(oid), oid)

    def test_health_scalars(self):
        health = record(self.scenario, "12,1")
        power = {0: b"aux", 1: b"main", 2: b"none"}.get(health["0x0800000c"], b"n/a")
        self.assertEqual(self.router.walk(HEALTH),
                         [(HEALTH + ".8.0", ("INTEGER", fixed(health["0x0800000d"]))),
                          (HEALTH + ".9.0", ("STRING", power)),
                          (HEALTH + ".10.0", ("INTEGER", fixed(health["0x0800000e"]) * 10))])


if __name__ == "__main__":
    unittest.main()
