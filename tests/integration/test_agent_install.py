"""Installation: `cmake --install` into a temporary prefix gives the three
programs, the headers a plug-in needs (complete: they compile on their own),
the documentation and the package files; the example plug-in then builds
out of the tree against that prefix alone, and the installed agent loads it
and serves its objects."""

import glob
import os
import shutil
import subprocess
import tempfile
import unittest

import harness

STEP_TIMEOUT_S = 300
PROGRAMS = ("snmpd", "kxsim", "kxctl")
HEADER_DIRS = ("kx", "asn1", "engine", "data", "agent")


def run(args, **kw):
    done = subprocess.run(args, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                          stdin=subprocess.DEVNULL, timeout=STEP_TIMEOUT_S, **kw)
    return done.returncode, done.stdout.decode(errors="replace")


@unittest.skipIf(shutil.which("cmake") is None, "cmake is not installed: cannot install")
class InstallTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.tmp = tempfile.mkdtemp(prefix="sarn-install-")
        cls.prefix = os.path.join(cls.tmp, "prefix")
        status, out = run(["cmake", "--install", harness.build_dir(), "--prefix", cls.prefix])
        if status != 0:
            shutil.rmtree(cls.tmp, ignore_errors=True)
            raise AssertionError("cmake --install failed:\n" + out)

    @classmethod
    def tearDownClass(cls):
        shutil.rmtree(cls.tmp, ignore_errors=True)

    def test_programs_documentation_and_package_files(self):
        for name in PROGRAMS:
            path = os.path.join(self.prefix, "bin", name)
            self.assertTrue(os.access(path, os.X_OK), path)
            status, out = run([path, "--help"])
            self.assertEqual(status, 0, out)
            self.assertIn(name, out.lower())
            self.assertIn("--root", out)
        docs = os.path.join(self.prefix, "share", "doc", "sarn-snmp")
        for doc in ("README.md", "plugins.md", "adding_objects.md", "bus.md", "scenario.md"):
            self.assertTrue(os.path.exists(os.path.join(docs, doc)), doc)
        config = os.path.join(self.prefix, "share", "cmake", "SarnSnmp", "SarnSnmpConfig.cmake")
        self.assertTrue(os.path.exists(config))
        with open(os.path.join(self.prefix, "share", "pkgconfig", "sarn-snmp.pc")) as f:
            self.assertIn("Cflags: -I${includedir}", f.read())

    def test_installed_headers_are_complete(self):
        include = os.path.join(self.prefix, "include", "sarn")
        headers = []
        for d in HEADER_DIRS:
            found = sorted(glob.glob(os.path.join(include, d, "*.h")))
            self.assertTrue(found, "no headers in include/sarn/" + d)
            headers += [os.path.relpath(h, include) for h in found]
        # Every header at once, against the prefix only: an include of a
        # header that was not installed fails here.
        unit = os.path.join(self.tmp, "all_headers.cpp")
        with open(unit, "w") as f:
            f.writelines('#include "%s"\n' % h for h in headers)
        compiler = os.environ.get("CXX", "c++")
        status, out = run([compiler, "-std=c++17", "-fsyntax-only", "-I", include, unit])
        self.assertEqual(status, 0, out)

    def test_example_plugin_builds_against_the_prefix_and_loads(self):
        source = os.path.join(harness.source_dir(), "examples", "plugin")
        build = os.path.join(self.tmp, "plugin-build")
        root = os.path.join(self.tmp, "root")
        status, out = run(["cmake", "-S", source, "-B", build,
                           "-DCMAKE_PREFIX_PATH=" + self.prefix, "-DCMAKE_BUILD_TYPE=Release"])
        self.assertEqual(status, 0, out)
        status, out = run(["cmake", "--build", build])
        self.assertEqual(status, 0, out)
        status, out = run(["cmake", "--install", build, "--prefix", root])
        self.assertEqual(status, 0, out)
        plugin = os.path.join(root, "sarn", "lib", "snmp", "example.so")
        self.assertTrue(os.path.exists(plugin), out)

        bin_dir = os.path.join(self.prefix, "bin")
        status, out = run([os.path.join(bin_dir, "kxctl"), "--root", root, "store", "put",
                           "/sarn/store/snmpd", "0", "0x00000001=true"])
        self.assertEqual(status, 0, out)
        scenario = os.path.join(harness.source_dir(), "examples", "plugin.json")
        sim = harness.Process([os.path.join(bin_dir, "kxsim"), "--root", root, scenario], root,
                              "kxsim")
        port = harness.free_port()
        agent = None
        try:
            sim.wait_for_output("kxsim: serving services")
            agent = harness.Process([os.path.join(bin_dir, "snmpd"), "--root", root, "--port",
                                     str(port)], root, "snmpd")
            agent.wait_for_output("plugin loaded: " + plugin, stream="stderr")

            def motd():
                # The value alone: what a tool says on standard error is not
                # what this test is about.
                done = subprocess.run(["snmpget", "-v", "2c", "-c", "harbor", "-t", "1", "-r",
                                       "0", "-Oqv", "127.0.0.1:%d" % port,
                                       "1.3.6.1.4.1.32473.1.99.2.0"],
                                      stdout=subprocess.PIPE, stderr=subprocess.DEVNULL,
                                      stdin=subprocess.DEVNULL, timeout=STEP_TIMEOUT_S)
                return done.stdout.decode(errors="replace") if done.returncode == 0 else None

            self.assertEqual(harness.wait_until(motd, what="the plug-in's scalar"),
                             '"welcome to edge-1"\n')
        finally:
            if agent:
                agent.stop()
            sim.stop()


if __name__ == "__main__":
    unittest.main()
