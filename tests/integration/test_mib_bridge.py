"""The bridge objects and the enterprise health scalars, read with net-snmp's
tools against snmpd and kxsim: the example router value by value, a router
without a bridge, health readings that are missing or change, and services
that refuse."""

import unittest

import harness
from test_mib_system import MibAgent, example_scenario, fixed, mac_bytes, objects, record

BRIDGE = "1.3.6.1.2.1.17"
FDB = BRIDGE + ".4.3.1."
HEALTH = "1.3.6.1.4.1.32473.1.1.3"
BRIDGE_KIND = 12


def served_bridge(scenario):
    """The first interface of kind 12, in id order."""
    interfaces = sorted(objects(scenario, "20,0"), key=lambda i: i["0x08fe0001"])
    return next(i for i in interfaces if fixed(i.get("0x08010001", 0)) == BRIDGE_KIND)


def mac_index(mac):
    return ".".join(str(b) for b in mac)


def power_text(source):
    return {0: b"aux", 1: b"main", 2: b"none"}.get(source, b"n/a")


class ExampleBridgeTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.scenario = example_scenario()
        cls.router = MibAgent(cls.scenario)

    @classmethod
    def tearDownClass(cls):
        cls.router.stop()

    def test_bridge_address_stp_and_forwarding_table_of_the_first_bridge(self):
        bridge = served_bridge(self.scenario)
        hosts = [h for h in objects(self.scenario, "16,3")
                 if h["0x08000005"] == bridge["0x08fe0001"]]
        others = [h for h in objects(self.scenario, "16,3") if h not in hosts]
        self.assertTrue(hosts and others, "the example needs entries of two bridges")
        hosts.sort(key=lambda h: mac_bytes(h["0x30000002"]))

        expected = [(BRIDGE + ".1.1.0", ("STRING", mac_bytes(bridge["0x300003e9"]))),
                    (BRIDGE + ".2.1.0", ("INTEGER", 3)),
                    (BRIDGE + ".2.2.0", ("INTEGER", fixed(bridge["0x08000002"])))]
        for column, value in ((1, lambda h: ("STRING", mac_bytes(h["0x30000002"]))),
                              (2, lambda h: ("INTEGER", fixed(h["0x08000001"]))),
                              (3, lambda h: ("INTEGER", 4 if h.get("0x00000004") else 3))):
            expected += [(FDB + "%d.%s" % (column, mac_index(mac_bytes(h["0x30000002"]))),
                          value(h)) for h in hosts]
        got = self.router.walk(BRIDGE)
        self.assertEqual(got, expected)
        for other in others:
            self.assertNotIn(mac_index(mac_bytes(other["0x30000002"])),
                             " ".join(oid for oid, _ in got))

    def test_health_scalars(self):
        health = record(self.scenario, "12,1")
        self.assertEqual(self.router.walk(HEALTH),
                         [(HEALTH + ".8.0", ("INTEGER", fixed(health["0x0800000d"]))),
                          (HEALTH + ".9.0", ("STRING", power_text(health["0x0800000c"]))),
                          (HEALTH + ".10.0", ("INTEGER", fixed(health["0x0800000e"]) * 10))])

    def test_single_entry_get_by_mac_index(self):
        bridge = served_bridge(self.scenario)
        host = next(h for h in objects(self.scenario, "16,3")
                    if h["0x08000005"] == bridge["0x08fe0001"])
        index = mac_index(mac_bytes(host["0x30000002"]))
        got = self.router.get(FDB + "2." + index)
        self.assertEqual(got[FDB + "2." + index], ("INTEGER", fixed(host["0x08000001"])))
        self.assertIn("noSuchName", self.router.get_error(FDB + "2.1.2.3.4.5.6"))
        # Objects of the bridge MIB that are not served.
        for oid in (BRIDGE + ".1.2.0", BRIDGE + ".2.3.0"):
            self.assertIn("noSuchName", self.router.get_error(oid), oid)


class WithoutBridgeTest(unittest.TestCase):
    def test_no_bridge_interface_and_missing_then_changed_health(self):
        scenario = example_scenario()
        for interface in objects(scenario, "20,0"):
            if interface.get("0x08010001") == BRIDGE_KIND:
                interface["0x08010001"] = 1
        scenario["services"]["12,1"]["record"] = {"0x0800000d": 7}
        with MibAgent(scenario) as router:
            for oid in (BRIDGE + ".1.1.0", BRIDGE + ".2.2.0"):
                self.assertIn("noSuchName", router.get_error(oid), oid)
            # The constant stays; the forwarding table is empty.
            self.assertEqual(router.walk(BRIDGE), [(BRIDGE + ".2.1.0", ("INTEGER", 3))])

            got = router.get(HEALTH + ".8.0", HEALTH + ".9.0", HEALTH + ".10.0")
            self.assertEqual(got[HEALTH + ".8.0"], ("INTEGER", 7))
            self.assertEqual(got[HEALTH + ".9.0"], ("STRING", b"n/a"))
            self.assertEqual(got[HEALTH + ".10.0"], ("INTEGER", -2730))

            harness.kxctl_json(router.root, "set", "12,1", "0x0800000c=0", "0x0800000e=%d" % (2**32 - 4))

            def power_source():
                value = router.get(HEALTH + ".9.0")[HEALTH + ".9.0"]
                return value if value != ("STRING", b"n/a") else None

            # The agent's cached record expires within a few seconds.
            self.assertEqual(harness.wait_until(power_source, what="the new power source"),
                             ("STRING", b"aux"))
            self.assertEqual(router.get(HEALTH + ".10.0")[HEALTH + ".10.0"], ("INTEGER", -40))


class RefusingServicesTest(unittest.TestCase):
    def test_refused_interfaces_hosts_and_health(self):
        scenario = example_scenario()
        refuse = {"error": ["0xfe0006", "refused by the simulator"]}
        scenario["services"]["20,0"]["fault"] = refuse
        scenario["services"]["12,1"]["fault"] = refuse
        with MibAgent(scenario) as router:
            self.assertIn("noSuchName", router.get_error(BRIDGE + ".1.1.0"))
            self.assertEqual(router.walk(BRIDGE), [(BRIDGE + ".2.1.0", ("INTEGER", 3))])
            got = router.get(HEALTH + ".8.0", HEALTH + ".9.0", HEALTH + ".10.0")
            self.assertEqual(got, {HEALTH + ".8.0": ("INTEGER", 0),
                                   HEALTH + ".9.0": ("STRING", b"n/a"),
                                   HEALTH + ".10.0": ("INTEGER", -2730)})
            self.assertIn("GetProvider::getData error: refused by the simulator\n",
                          router.agent.stderr())
            self.assertEqual(router.get("1.3.6.1.2.1.1.1.0")["1.3.6.1.2.1.1.1.0"],
                             ("STRING", b"router"))


if __name__ == "__main__":
    unittest.main()
