"""Installation: `cmake --install` into a temporary prefix gives the three
programs (with the project's version), the headers a plug-in needs
(complete: they compile on their own), the documentation, the MIB module and
the package files; the example plug-in, and the plug-in that the guides'
code blocks make, then build out of the tree against that prefix alone, and
the installed agent loads each and serves its objects."""

import glob
import os
import re
import textwrap
import shutil
import subprocess
import tempfile
import unittest

import harness

STEP_TIMEOUT_S = 300
PROGRAMS = ("snmpd", "kxsim", "kxctl")
HEADER_DIRS = ("kx", "asn1", "engine", "data", "agent")
EXAMPLE = "1.3.6.1.4.1.32473.1.99"
# The example service's values (examples/plugin.json): the constant, the
# message of the day, the name of the row with id 5.
EXAMPLE_VALUES = {EXAMPLE + ".1.0": '"sarn example plug-in 1.0"',
                  EXAMPLE + ".2.0": '"welcome to edge-1"', EXAMPLE + ".4.1.2.5": '"gamma"'}


def run(args, **kw):
    done = subprocess.run(args, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                          stdin=subprocess.DEVNULL, timeout=STEP_TIMEOUT_S, **kw)
    return done.returncode, done.stdout.decode(errors="replace")


def code_blocks(doc, lang):
    """The fenced blocks of one language in docs/<doc>, in order, as written
    (a block indented in a list item loses its indentation)."""
    with open(os.path.join(harness.source_dir(), "docs", doc)) as f:
        text = f.read()
    return [textwrap.dedent(body) for _, body in
            re.findall(r"^( *)```" + re.escape(lang) + r"\n(.*?)^\1```$", text, re.M | re.S)]


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
        config = os.path.join(self.prefix, "share", "cmake", "SarnSnmp")
        with open(os.path.join(config, "SarnSnmpConfigVersion.cmake")) as f:
            version = re.search(r'set\(PACKAGE_VERSION "([^"]+)"\)', f.read()).group(1)
        for name in PROGRAMS:
            path = os.path.join(self.prefix, "bin", name)
            self.assertTrue(os.access(path, os.X_OK), path)
            status, out = run([path, "--help"])
            self.assertEqual(status, 0, out)
            self.assertIn(name, out.lower())
            self.assertIn("--root", out)
            self.assertEqual(run([path, "--version"]), (0, "%s (sarn-snmp) %s\n" % (name, version)))
        docs = ["share/doc/sarn-snmp/" + doc for doc in
                ("README.md", "plugins.md", "adding_objects.md", "operators.md", "mibs.md")]
        for path in docs + ["share/snmp/mibs/SARN-ROUTER-MIB.txt",
                            "share/cmake/SarnSnmp/SarnSnmpConfig.cmake"]:
            self.assertTrue(os.path.exists(os.path.join(self.prefix, path)), path)
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

    def test_example_plugin_builds_against_the_prefix_and_serves(self):
        self.assert_builds_and_serves(os.path.join(harness.source_dir(), "examples", "plugin"),
                                      "example.so")

    def test_plugin_of_the_guides_code_blocks_builds_and_serves(self):
        # plugins.md's CMakeLists.txt (find_package with the version) and
        # its declaration, then every block of adding_objects.md in order.
        source = os.path.join(self.tmp, "guide-plugin")
        os.makedirs(source)
        with open(os.path.join(source, "CMakeLists.txt"), "w") as f:
            f.write(code_blocks("plugins.md", "cmake")[0])
        with open(os.path.join(source, "my_plugin.cpp"), "w") as f:
            f.write("\n".join(code_blocks("plugins.md", "c++") +
                              code_blocks("adding_objects.md", "c++")))
        self.assert_builds_and_serves(source, "my.so")

    def assert_builds_and_serves(self, source, library):
        """Builds the plug-in at source against the prefix, installs it into
        a root of its own, and serves the example service's objects through
        it with the installed programs (the agent enabled offline)."""
        name = os.path.basename(source)
        build, root = os.path.join(self.tmp, name + "-build"), os.path.join(self.tmp, name + "-root")
        for step in (["cmake", "-S", source, "-B", build, "-DCMAKE_PREFIX_PATH=" + self.prefix,
                      "-DCMAKE_BUILD_TYPE=Release"],
                     ["cmake", "--build", build], ["cmake", "--install", build, "--prefix", root]):
            status, out = run(step)
            self.assertEqual(status, 0, out)
        plugin = os.path.join(root, "sarn", "lib", "snmp", library)
        self.assertTrue(os.path.exists(plugin), out)

        bin_dir = os.path.join(self.prefix, "bin")
        status, out = run([os.path.join(bin_dir, "kxctl"), "--root", root, "snmp", "set",
                           "--offline", "enabled=yes"])
        self.assertEqual(status, 0, out)
        scenario = os.path.join(harness.source_dir(), "examples", "plugin.json")
        port = harness.free_port()
        with harness.start([os.path.join(bin_dir, "kxsim"), "--root", root, scenario], root,
                           "kxsim", "kxsim: serving services"), \
                harness.start([os.path.join(bin_dir, "snmpd"), "--root", root, "--port",
                               str(port)], root, "snmpd", "plugin loaded: " + plugin, "stderr"):
            def values():
                # The values alone: what a tool says on standard error is not
                # what this test is about.
                done = harness.net_snmp("snmpget", port, EXAMPLE_VALUES, timeout=1,
                                        output=["-Oqv"])
                return done.stdout if done.returncode == 0 else None

            self.assertEqual(harness.wait_until(values, what="the plug-in's objects"),
                             "".join(v + "\n" for v in EXAMPLE_VALUES.values()))


if __name__ == "__main__":
    unittest.main()
