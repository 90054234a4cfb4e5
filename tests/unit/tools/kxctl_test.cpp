// kxctl as its users meet it: one table of command lines, each with the
// exit status, the requests it sends and what it prints.  The bus is a
// scripted router and agent; the store commands and --offline run on a
// temporary root.
#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <sstream>

#include "kx/platform.h"
#include "kx/store.h"
#include "tests/unit/support/temp_root.h"
#include "tools/app.h"
#include "tools/arg_parse.h"
#include "tools/output.h"
#include "tools/session.h"
#include "tools/snmp_values.h"
#include "tools/watch_command.h"

namespace kxctl {
namespace {

using namespace snmp;
using Args = std::vector<std::string>;

kx::message object(uint32_t id) {
  kx::message m;
  m.setU32(kx::kObjId, id);
  return m;
}

kx::message community(uint32_t id, const std::string& name, uint32_t address = 0,
                      uint32_t mask = 0) {
  kx::message c = object(id);
  c.setString(kName, name);
  c.setU32(kAddress, address);  // first octet most significant
  c.setU32(kAddressMask, mask);
  c.setBool(kReadAccess, true);
  c.setBool(kWriteAccess, false);
  c.setU32(kSecurity, kSecurityNone);
  return c;
}

// Paths 20,0 to 20,2 are lists of five objects (ids 100 to 104), two a page
// unless the request asks otherwise: 20,1 fails at its second page, 20,2
// repeats its marks.  24,1 is a record with a broken UTF-8 string; [34] and
// [34, 1] are the agent.  Every other request is answered empty.
kx::message serve(const kx::message& req) {
  const std::vector<uint32_t> path = req.dstPath();
  const uint32_t cmd = req.command();
  kx::message reply;
  if (path.size() == 2 && path[0] == 20 && cmd == kx::kCmdGetAll) {
    const uint32_t start = req.getU32(kx::kContinue, 100);
    if (path[1] == 1 && start != 100) return kx::errorMsg(kx::kErrTimeout, "no reply");
    uint32_t id = start;
    while (id < 105 && id < start + req.getU32(kx::kPageSize, 2))
      reply.messageArray(kx::kObjects).push_back(object(id++));
    if (path[1] == 2) id = start == 5 ? 6 : 5;
    if (id < 105) reply.setU32(kx::kContinue, id);
  } else if (path == std::vector<uint32_t>{24, 1}) {
    reply.setU32(kx::kRequestId, 12);
    reply.setBool(kx::kReplyFlag, true);
    reply.setString(kContact, std::string("caf\xc3", 4));
    reply.setU32(kTimeWindow, 15);
  } else if (path == kSettingsPath && cmd == kx::kCmdGet) {
    reply.setString(kCommunity, "harbor");
    reply.setString(kContact, "noc@example.net");
    reply.setString(kLocation, "");
    reply.setString(kEngineId, "r1");
    reply.setU32(kTimeWindow, 15);
    reply.setU32(kTrapTarget, 0xC0000201);
    reply.setU32(kTrapVersion, kTrapV2c);
    reply.setU32(kTrapCommunity, 3);
    reply.setU32Array(kTrapGenerators, {kStartupGenerator, 0, 5});
    reply.setU32(kEngineBoots, 4);
    reply.setBool(kEnabled, true);
  } else if (path == kSettingsPath && cmd == kCmdListGenerators) {
    kx::message start = object(kStartupGenerator), links = object(kInterfacesGenerator);
    start.setString(kGeneratorName, kStartupGeneratorName);
    links.setString(kGeneratorName, kInterfacesGeneratorName);
    reply.setMessageArray(kx::kObjects, {start, links});
  } else if (path == kCommunitiesPath && cmd == kx::kCmdGetAll) {
    kx::message ops = community(7, "ops"),
                monitor = community(8, "monitor", 0x0A000000, 0xFF00FF00);
    ops.setBool(kWriteAccess, true);
    ops.setU32(kSecurity, kSecurityAuthPriv);
    ops.setU32(kAuthMethod, kAuthSha256);
    ops.setU32(kEncryptionProtocol, kPrivAes192);
    ops.setString(kAuthPassword, "long enough");
    monitor.setU32(kSecurity, kSecurityAuth);
    monitor.setU32(kAuthMethod, kAuthMd5);
    reply.setMessageArray(
        kx::kObjects, {community(0, "harbor"), community(3, "public", 0x7F000001, 0xFFFFFFFF), ops,
                       monitor, community(11, "3", 0xC0000200, 0xFFFFFF00)});
  } else if (path == kCommunitiesPath && cmd == kx::kCmdAddObj) {
    reply.setU32(kx::kObjId, 9);
  }
  return reply;
}

// "PATH 0xCMD {fields}": a request as the table writes it.
std::string requestText(const kx::message& m) {
  kx::message fields = m;
  fields.erase(kx::kDstPath);
  fields.erase(kx::kCommand);
  char cmd[16];
  std::snprintf(cmd, sizeof cmd, "0x%x", m.command());
  return pathText(m.dstPath()) + " " + cmd + " " + fields.dump();
}

struct Recorder : BusClient {
  kx::message exchange(kx::message& msg) override {
    sent.push_back(requestText(msg));
    return serve(msg);
  }
  std::vector<std::string> sent;
};

struct Forward : BusClient {
  explicit Forward(BusClient& b) : bus(b) {}
  kx::message exchange(kx::message& msg) override { return bus.exchange(msg); }
  BusClient& bus;
};

struct Case {
  Args args;
  int status;
  std::vector<std::string> requests;
  std::string out = "";  // all of standard output
  std::string err = "";  // part of standard error
};

// A command line that does its work: the requests it sends, all it prints.
Case ok(Args args, std::vector<std::string> requests, std::string out = "") {
  return {std::move(args), kExitOk, std::move(requests), std::move(out)};
}

// One that fails at its work: an error on standard error only.
Case fails(Args args, std::string err, std::vector<std::string> requests = {}) {
  return {std::move(args), kExitError, std::move(requests), "", std::move(err)};
}

// A command line refused before or after reading what it needs: nothing
// printed on standard output, nothing changed.
Case usage(Args args, std::string err, std::vector<std::string> reads = {}) {
  return {std::move(args), kExitUsage, std::move(reads), "", std::move(err)};
}

// Runs each case on a fresh bus; root, when given, goes in front.
void runCases(const std::vector<Case>& cases, const std::string& root = "") {
  for (const Case& c : cases) {
    Args args = c.args;
    if (!root.empty()) args.insert(args.begin(), {"--root", root});
    std::string line;
    for (const std::string& a : c.args) line += a + " ";
    SCOPED_TRACE(line);
    Recorder bus;
    int made = 0;
    App app([&](const Options&) -> std::unique_ptr<BusClient> {
      ++made;
      return std::make_unique<Forward>(bus);
    });
    std::ostringstream out, err;
    EXPECT_EQ(app.run(args, out, err), c.status) << err.str();
    EXPECT_EQ(bus.sent, c.requests);
    // A bus client is made only to send something.
    EXPECT_EQ(made, c.requests.empty() ? 0 : 1);
    EXPECT_EQ(out.str(), c.out);
    EXPECT_NE(err.str().find(c.err), std::string::npos) << err.str();
    if (c.status == kExitUsage) {
      EXPECT_EQ(err.str().rfind("kxctl: ", 0), 0u) << err.str();
      EXPECT_NE(err.str().find("--help'."), std::string::npos) << err.str();
    }
  }
}

const char kRead[] = "34,1 0xfe0004 {}";
const char kGenerators[] = "34 0x64 {}";

TEST(Kxctl, CommandLinesAgainstAScriptedBus) {
  runCases({
      // Global options.
      usage({}, "Try 'kxctl --help'."),
      usage({"--root"}, "Try 'kxctl --help'."),
      usage({"--root="}, "Try 'kxctl --help'."),
      usage({"--timeout", "0", "get", "34"}, "Try 'kxctl --help'."),
      usage({"--timeout", "abc", "get", "34"}, "Try 'kxctl --help'."),
      usage({"--timeout=3600001", "get", "34"}, "Try 'kxctl --help'."),
      usage({"--bogus", "get", "34"}, "Try 'kxctl --help'."),
      usage({"frobnicate"}, "Try 'kxctl --help'."),

      // One request each; the reply without the transport's fields, and a
      // broken string still printed.
      ok({"get", "24,1"}, {"24,1 0xfe000d {}"},
         "{\"0x0800000e\":15,\"0x20000002\":\"caf\xef\xbf\xbd\"}\n"),
      ok({"call", "30", "0xfe0004", "0x08fe0016=5"}, {"30 0xfe0004 {\"0x08fe0016\":5}"}, "{}\n"),
      ok({"call", "30,0", "100"}, {"30,0 0x64 {}"}, "{}\n"),
      ok({"getobj", "30", "3"}, {"30 0xfe0002 {\"0x08fe0001\":3}"}, "{}\n"),
      // The positional id wins over one among the fields.
      ok({"setobj", "30", "0x2", "0x08fe0001=9", "0x20000005=ops"},
         {"30 0xfe0003 {\"0x08fe0001\":2,\"0x20000005\":\"ops\"}"}, "{}\n"),
      ok({"add", "30"}, {"30 0xfe0005 {}"}, "{}\n"),
      ok({"remove", "30", "4"}, {"30 0xfe0006 {\"0x08fe0001\":4}"}, "{}\n"),
      ok({"count", "30"}, {"30 0xfe0015 {}"}, "{}\n"),
      // Every value form, by the key's type; only the first '=' separates.
      ok({"set", "30", "0x20000002=ops desk", "0x0800000e=15", "0x08000010=192.0.2.1",
          "0x00000001=true", "0x300003e9=4c:5e:0c:00:00:01", "0x88000013=[0,1]", "0x20000003=a=b",
          "0x20000004=", R"(0x28000020={"0x08000001":5})"},
         {"30 0xfe000e {\"0x20000002\":\"ops desk\",\"0x0800000e\":15,\"0x08000010\":3221225985,"
          "\"0x00000001\":true,\"0x300003e9\":\"4c:5e:0c:00:00:01\",\"0x88000013\":[0,1],"
          "\"0x20000003\":\"a=b\",\"0x20000004\":\"\",\"0x28000020\":{\"0x08000001\":5}}"},
         "{}\n"),

      // Command-line mistakes send nothing.
      usage({"get"}, "kxctl: get: missing arguments"),
      usage({"get", "34", "extra"}, "unexpected argument 'extra'"),
      usage({"get", "34,"}, "bad path '34,'"),
      usage({"get", ",0"}, "bad path"),
      usage({"get", "20 ,0"}, "bad path"),
      usage({"get", "1,2,3,4,5,6,7,8,9"}, "more than 8 elements"),
      usage({"count"}, "kxctl: count: missing arguments"),
      usage({"set", "34"}, "nothing to send"),
      usage({"getobj", "20,0"}, "missing arguments"),
      usage({"getobj", "20,0", "x"}, "bad ID: 'x' is not a number (decimal or 0x hex)"),
      usage({"setobj", "20,0", "1"}, "nothing to send"),
      usage({"remove", "20,0", "1", "0x20000005=a"}, "unexpected argument"),
      usage({"call", "20,0"}, "missing arguments"),
      usage({"call", "20,0", ""}, "bad CMD: '' is not a number"),
      usage({"call", "20,0", "0xfe00zz"}, "'0xfe00zz' is not a number"),
      usage({"call", "20,0", "0x100000000"}, "is larger than 0xffffffff"),
      usage({"set", "34", "0x20000002"}, "is not a field: write key=value"),
      usage({"set", "34", "contact=x"}, "bad key 'contact'"),
      usage({"set", "34", "0x08ff0007=1"}, "reserved for the bus transport"),
      usage({"set", "34", "0x88ff0001=[1]"}, "reserved for the bus transport"),
      // Values are read as the key's type says (each form in the tests of
      // the text forms); a bad one is named.
      usage({"set", "34", "0x0800000e=fifteen"}, "bad value for 0x0800000e"),
      usage({"set", "34", "0x88000013=[0,"}, "expected JSON"),
      usage({"set", "34", "0x20000005=a", "0x20000005=b"}, "is given twice"),

      // Lists: pages followed to the end, printed as one array; a failing
      // page prints its error and no partial list; a repeated mark stops.
      ok({"getall", "20,0"},
         {"20,0 0xfe0004 {}", "20,0 0xfe0004 {\"0x08fe0003\":102}",
          "20,0 0xfe0004 {\"0x08fe0003\":104}"},
         "[{\"0x08fe0001\":100},{\"0x08fe0001\":101},{\"0x08fe0001\":102},{\"0x08fe0001\":103},"
         "{\"0x08fe0001\":104}]\n"),
      ok({"getall", "20,0", "--page", "4"},
         {"20,0 0xfe0004 {\"0x08fe0016\":4}",
          "20,0 0xfe0004 {\"0x08fe0016\":4,\"0x08fe0003\":104}"},
         "[{\"0x08fe0001\":100},{\"0x08fe0001\":101},{\"0x08fe0001\":102},{\"0x08fe0001\":103},"
         "{\"0x08fe0001\":104}]\n"),
      fails({"getall", "20,1"}, "error 0xff0102: no reply\n",
            {"20,1 0xfe0004 {}", "20,1 0xfe0004 {\"0x08fe0003\":102}"}),
      fails({"getall", "20,2"}, "repeats continuation mark 5",
            {"20,2 0xfe0004 {}", "20,2 0xfe0004 {\"0x08fe0003\":5}",
             "20,2 0xfe0004 {\"0x08fe0003\":6}"}),
      usage({"getall"}, "missing PATH"),
      usage({"getall", "20,0", "21"}, "unexpected argument '21'"),
      usage({"getall", "--page"}, "--page needs a number"),
      usage({"getall", "20,0", "--page", "0"}, "bad page size: 0"),
      usage({"getall", "20,0", "--page", "x"}, "bad page size"),

      usage({"watch"}, "missing arguments; expected PATH KIND"),
      usage({"watch", "20,0"}, "missing arguments"),
      usage({"watch", "20,0", "x"}, "bad KIND: 'x'"),
      usage({"watch", "20,,0", "1"}, "bad path"),
      usage({"watch", "20,0", "1", "2"}, "unexpected argument '2'"),
      usage({"watch", "20,0", "1", "--count"}, "--count needs a number"),
      usage({"watch", "20,0", "1", "--count", "0"}, "--count needs a number of events above 0"),
      usage({"watch", "20,0", "1", "value=abc"}, "bad filter value: 'abc'"),
      usage({"watch", "20,0", "1", "mask="}, "bad filter mask"),
      usage({"watch", "20,0", "1", "--follow"}, "unknown option '--follow'"),
  });
}

TEST(Kxctl, SnmpCommandsAgainstAScriptedAgent) {
  runCases({
      // Ids by name where the agent has one, the bare id where not.
      ok({"snmp", "show"}, {"34 0xfe000d {}", kRead, kGenerators},
         "enabled          yes\n"
         "contact          noc@example.net\n"
         "location         \n"
         "community        harbor\n"
         "engine-id        r1\n"
         "engine-id-hex    80007ed9047231\n"
         "time-window      15\n"
         "trap-target      192.0.2.1\n"
         "trap-version     2c\n"
         "trap-community   public\n"
         "trap-generators  start-trap,interfaces,5\n"
         "engine-boots     4\n"),
      ok({"snmp", "generators"}, {kGenerators, "34 0xfe000d {}"},
         "ID          NAME        ENABLED\n"
         "0x0abc0001  start-trap  yes\n"
         "0           interfaces  yes\n"),
      // One change; on the bus an address has its first octet most
      // significant; names become the agent's ids.
      ok({"snmp", "set", "enabled=no", "trap-target=198.51.100.9", "trap-community=ops",
          "trap-generators=interfaces,start-trap"},
         {kRead, kGenerators,
          "34 0xfe000e {\"0x00000001\":false,\"0x08000010\":3325256713,\"0x08000011\":7,"
          "\"0x88000013\":[0,180092929]}"}),
      // Off values need no lists; ids are taken as they are.
      ok({"snmp", "set", "trap-target=none", "trap-community=none", "trap-generators=none",
          "trap-version=V2C", "time-window=0x10", "contact=", "engine-id=" + std::string(27, 'e')},
         {"34 0xfe000e {\"0x08000010\":0,\"0x08000011\":4294967295,\"0x88000013\":[],"
          "\"0x08000012\":1,\"0x0800000e\":16,\"0x20000002\":\"\",\"0x2000000a\":\"" +
          std::string(27, 'e') + "\"}"}),
      ok({"snmp", "set", "trap-community=7", "trap-generators=0,0x0abc0001", "trap-version=v3"},
         {kRead, kGenerators,
          "34 0xfe000e {\"0x08000011\":7,\"0x88000013\":[0,180092929],\"0x08000012\":3}"}),
      usage({"snmp", "set"}, "nothing to change"),
      usage({"snmp", "set", "enabled=maybe"}, "enabled: unknown answer 'maybe'"),
      usage({"snmp", "set", "colour=red"},
            "unknown name 'colour': expected one of enabled, contact, location, community, "
            "engine-id, "
            "time-window, trap-target, trap-version, trap-community, trap-generators"),
      usage({"snmp", "set", "engine-boots=3"}, "unknown name 'engine-boots'"),
      usage({"snmp", "set", "contact"}, "'contact' is not a setting"),
      usage({"snmp", "set", "contact=a", "contact=b"}, "'contact' is given twice"),
      usage({"snmp", "set", "time-window=-1"}, "time-window: '-1' is not a number"),
      usage({"snmp", "set", "engine-id=" + std::string(28, 'e')},
            "engine-id: at most 27 characters"),
      usage({"snmp", "set", "trap-target=192.0.2"},
            "trap-target: '192.0.2' is not an IPv4 address like 192.0.2.1, or none"),
      usage({"snmp", "set", "trap-version=2"}, "trap-version: unknown trap version '2'"),
      usage({"snmp", "set", "trap-community=nobody"}, "no community is named 'nobody'", {kRead}),
      usage({"snmp", "set", "trap-community=12"}, "no community is named '12'", {kRead}),
      usage({"snmp", "set", "trap-generators=start-trap,links"},
            "unknown trap generator 'links': the agent has start-trap, interfaces", {kGenerators}),
      usage({"snmp", "set", "trap-generators=4"}, "unknown trap generator '4'", {kGenerators}),
      usage({"snmp", "set", "enabled=yes", "trap-generators=start-trap,"},
            "unknown trap generator ''", {kGenerators}),

      // Communities: the sources as prefixes where the mask allows, in
      // full where not; auth and privacy only where the level uses them.
      ok({"snmp", "community", "list"}, {kRead},
         "ID  NAME     ADDRESS               READ  WRITE  SECURITY  AUTH    PRIVACY\n"
         "0   harbor   any                   yes   no     none      -       -\n"
         "3   public   127.0.0.1/32          yes   no     none      -       -\n"
         "7   ops      any                   yes   yes    authpriv  sha256  aes192\n"
         "8   monitor  10.0.0.0/255.0.255.0  yes   no     auth      md5     -\n"
         "11  3        192.0.2.0/24          yes   no     none      -       -\n"),
      // A new community: read-only, from anywhere, no v3 security unless
      // the words say otherwise; the agent chooses the id.
      ok({"snmp", "community", "add", "name=private", "address=127.0.0.1", "write=yes"},
         {"34,1 0xfe0005 {\"0x08000008\":2130706433,\"0x08000009\":4294967295,"
          "\"0x00000006\":true,\"0x00000007\":true,\"0x0800000f\":0,\"0x20000005\":\"private\"}"},
         "added community 'private' with id 9\n"),
      ok({"snmp", "community", "add", "name=alice", "security=authpriv", "auth=sha512",
          "priv=AES256", "auth-password=correct horse", "priv-password=battery!", "address=any",
          "read=no"},
         {"34,1 0xfe0005 {\"0x08000008\":0,\"0x08000009\":0,\"0x00000006\":false,"
          "\"0x00000007\":false,\"0x0800000f\":2,\"0x20000005\":\"alice\",\"0x08000014\":5,"
          "\"0x08000015\":3,\"0x2000000b\":\"correct horse\",\"0x2000000c\":\"battery!\"}"},
         "added community 'alice' with id 9\n"),
      // Only what is named changes; the community's own password counts.
      ok({"snmp", "community", "set", "ops", "security=auth", "address=10.0.0.0/255.0.0.0",
          "auth=SHA1", "priv=aes"},
         {kRead,
          "34,1 0xfe0003 {\"0x0800000f\":1,\"0x08000008\":167772160,\"0x08000009\":4278190080,"
          "\"0x08000014\":1,\"0x08000015\":1,\"0x08fe0001\":7}"}),
      ok({"snmp", "community", "set", "0", "address=192.0.2.0/24", "auth=sha384"},
         {kRead,
          "34,1 0xfe0003 {\"0x08000008\":3221225984,\"0x08000009\":4294967040,"
          "\"0x08000014\":4,\"0x08fe0001\":0}"}),
      ok({"snmp", "community", "set", "public", "address=0.0.0.0/0"},
         {kRead, "34,1 0xfe0003 {\"0x08000008\":0,\"0x08000009\":0,\"0x08fe0001\":3}"}),
      // A name wins over an id: "3" is community 11, 7 is ops.
      ok({"snmp", "community", "remove", "3"}, {kRead, "34,1 0xfe0006 {\"0x08fe0001\":11}"}),
      ok({"snmp", "community", "remove", "7"}, {kRead, "34,1 0xfe0006 {\"0x08fe0001\":7}"}),
      usage({"snmp", "community", "add", "read=yes"}, "a new community needs name="),
      usage({"snmp", "community", "add", "name="}, "name: a community needs a name"),
      usage({"snmp", "community", "add", "name=a", "security=auth"}, "auth-password of at least 8"),
      usage({"snmp", "community", "add", "name=a", "security=auth", "auth-password=1234567"},
            "auth-password of at least 8"),
      usage({"snmp", "community", "add", "name=a", "security=authpriv", "auth-password=12345678"},
            "priv-password of at least 8"),
      usage({"snmp", "community", "add", "name=a", "security=priv"},
            "security: unknown security level 'priv'"),
      usage({"snmp", "community", "add", "name=a", "auth=sha3"}, "auth: unknown auth method"),
      usage({"snmp", "community", "add", "name=a", "priv=3des"}, "priv: unknown privacy protocol"),
      usage({"snmp", "community", "add", "name=a", "rights=rw"}, "unknown name 'rights'"),
      usage({"snmp", "community", "add", "name=a", "address=10.0.0.0/40"},
            "bad address '10.0.0.0/40'"),
      usage({"snmp", "community", "add", "name=a", "address=192.0.2.0/"}, "bad address"),
      usage({"snmp", "community", "add", "name=a", "address=192.0.2.0/2x"}, "bad address"),
      usage({"snmp", "community", "add", "name=a", "address=/24"}, "bad address"),
      usage({"snmp", "community", "add", "name=a", "address=192.0.2/24"}, "bad address"),
      usage({"snmp", "community", "add", "name=a", "address=anything"}, "bad address"),
      usage({"snmp", "community", "add", "name=a", "address="}, "bad address"),
      usage({"snmp", "community", "add", "name=a", "address=10.0.0.0/255.0.255.0"},
            "the mask's ones must come first"),
      // What depends on the community is checked once it is read.
      usage({"snmp", "community", "set", "monitor", "security=auth"}, "auth-password of at least 8",
            {kRead}),
      usage({"snmp", "community", "set", "ops", "write=perhaps"}, "write: unknown answer"),
      usage({"snmp", "community", "set", "ops", "address=10.1"}, "bad address"),
      usage({"snmp", "community", "set", "nobody", "write=yes"}, "no community is named 'nobody'",
            {kRead}),
      usage({"snmp", "community", "set", "ops"}, "give the community's name or id"),
      usage({"snmp", "community", "remove", "99"}, "no community is named '99' or has that id",
            {kRead}),
      usage({"snmp", "community", "remove"}, "which community?"),
      usage({"snmp", "community", "rename", "ops"}, "unknown community subcommand 'rename'"),
      usage({"snmp", "frobnicate"}, "unknown subcommand 'frobnicate'"),

      // Trap requests: no binding, or one with its type as a BER tag.
      ok({"snmp", "send-trap"}, {"34 0x1 {}"}),
      ok({"snmp", "send-trap", "oid=1.3.6.1.2.1.1.5.0", "type=string", "value=x"},
         {"34 0x1 {\"0x200003e9\":\"1.3.6.1.2.1.1.5.0\",\"0x080003ea\":4,\"0x200003eb\":\"x\"}"}),
      ok({"snmp", "send-trap", "oid=.1.3.6.1", "type=null"},
         {"34 0x1 {\"0x200003e9\":\".1.3.6.1\",\"0x080003ea\":5}"}),
      ok({"snmp", "send-trap", "oid=1.3.4294967295", "type=timeticks", "value=5"},
         {"34 0x1 {\"0x200003e9\":\"1.3.4294967295\",\"0x080003ea\":67,\"0x200003eb\":\"5\"}"}),
      ok({"snmp", "send-trap", "oid=1.3", "type=0x41", "value=5"},
         {"34 0x1 {\"0x200003e9\":\"1.3\",\"0x080003ea\":65,\"0x200003eb\":\"5\"}"}),
      usage({"snmp", "send-trap", "oid=1.3.6"}, "oid= needs type="),
      usage({"snmp", "send-trap", "type=integer", "value=1"}, "type= needs oid="),
      usage({"snmp", "send-trap", "value=1"}, "value= needs type= and oid="),
      usage({"snmp", "send-trap", "oid=1.3.6", "type=integer"}, "needs value="),
      usage({"snmp", "send-trap", "oid=1.3.6", "type=float", "value=1"},
            "unknown value type 'float'"),
      usage({"snmp", "send-trap", "oid=1.3", "type=256", "value=1"}, "unknown value type '256'"),
      usage({"snmp", "send-trap", "oid=1.3", "type=gauge", "value=1"}, "unknown value type"),
      usage({"snmp", "send-trap", "oid=1", "type=null"}, "it needs at least two numbers"),
      usage({"snmp", "send-trap", "oid=", "type=null"}, "is not an OID"),
      usage({"snmp", "send-trap", "oid=1.3.", "type=null"}, "is not an OID"),
      usage({"snmp", "send-trap", "oid=1..3", "type=null"}, "is not an OID"),
      usage({"snmp", "send-trap", "oid=1.3.4294967296", "type=null"}, "is not an OID"),
      usage({"snmp", "send-trap", "oid=iso.3", "type=null"}, "is not an OID"),
      usage({"snmp", "send-trap", "oid=1.3.6 ", "type=null"}, "is not an OID"),
  });
}

// The store commands and the agent's stores without the agent, in order:
// each row works on what the rows before it left.
TEST(Kxctl, StoresAndOfflineAgentOnARoot) {
  test_support::TempRoot tmp;
  const std::string root = tmp.path();
  const std::string communities = "/sarn/store/snmp-communities";
  runCases(
      {
          ok({"store", "put", "/sarn/store/list", "10", "0x20000005=c"}, {},
             "{\"0x20000005\":\"c\"}\n"),
          ok({"store", "put", "/sarn/store/list", "2", "0x20000005=b"}, {},
             "{\"0x20000005\":\"b\"}\n"),
          ok({"store", "put", "/sarn/store/list", "0x0", "0x20000005=a"}, {},
             "{\"0x20000005\":\"a\"}\n"),
          {{"store", "put", "/sarn/store/list", "5"}, kExitUsage, {}, "", "nothing to write"},
          ok({"store", "rm", "/sarn/store/list", "0xa"}, {}),
          ok({"store", "put", "/sarn/store/list", "10", "0x20000005=c"}, {},
             "{\"0x20000005\":\"c\"}\n"),
          // Ids in numeric order.
          ok({"store", "dump", "/sarn/store/list"}, {},
             "{\"0\":{\"0x20000005\":\"a\"},\"2\":{\"0x20000005\":\"b\"},"
             "\"10\":{\"0x20000005\":\"c\"}}\n"),
          fails({"store", "dump", "/sarn/store/none"}, "no store at " + root),
          fails({"store", "rm", "/sarn/store/none", "1"}, "no store at " + root),
          fails({"store", "dump", "/sarn/store/a..b"}, "no store at "),
          usage({"store"}, "Try 'kxctl store --help'."),
          usage({"store", "list", "/sarn/store/none"}, "unknown sub-command 'list'"),
          usage({"store", "dump"}, "dump: missing arguments"),
          usage({"store", "dump", "/sarn/store/none", "0"}, "unexpected argument '0'"),
          usage({"store", "put", "/sarn/store/none", "zero", "0x20000002=a"}, "bad ID: 'zero'"),
          usage({"store", "put", "/sarn/store/none", "0", "0x0800000e=x"},
                "bad value for 0x0800000e"),
          usage({"store", "rm", "/sarn/store/none"}, "rm: missing arguments"),
          usage({"store", "dump", "relative/store"}, "must be absolute"),
          usage({"store", "dump", ""}, "must be absolute"),
          usage({"store", "dump", "/.."}, "must not contain '..'"),
          usage({"store", "dump", "/sarn/../x"}, "must not contain '..'"),
          usage({"store", "put", "/sarn/store/..", "1", "0x20000005=x"}, "must not contain"),

          // The agent's first-start values before anything is stored.
          ok({"snmp", "show", "--offline"}, {},
             "enabled          no\n"
             "contact          \n"
             "location         \n"
             "community        harbor\n"
             "engine-id        \n"
             "engine-id-hex    80007ed904\n"
             "time-window      15\n"
             "trap-target      none\n"
             "trap-version     1\n"
             "trap-community   none\n"
             "trap-generators  none\n"
             "engine-boots     0\n"),
          ok({"snmp", "community", "list", "--offline"}, {},
             "ID  NAME    ADDRESS  READ  WRITE  SECURITY  AUTH  PRIVACY\n"
             "0   harbor  any      yes   no     none      -     -\n"),
          // Generator ids of plug-ins are taken without the running agent.
          ok({"snmp", "set", "--offline", "enabled=yes", "contact=noc",
              "trap-generators=start-trap,interfaces,1"},
             {}),
          ok({"snmp", "community", "add", "--offline", "name=ops", "write=yes"}, {},
             "added community 'ops' with id 1\n"),
          fails({"snmp", "community", "add", "--offline", "name=ops"},
                "error 0xfe0006: community with such name already exists\n"),
          fails({"snmp", "community", "set", "--offline", "ops", "name=harbor"},
                "community with such name already exists"),
          ok({"snmp", "set", "--offline", "trap-community=ops"}, {}),
          ok({"snmp", "community", "remove", "--offline", "harbor"}, {}),
          usage({"snmp", "generators", "--offline"}, "needs the running agent"),
      },
      root);

  // Every setting is written, so the agent leaves none to its own default.
  kx::setRoot(root);
  kx::message settings;
  ASSERT_TRUE(kx::Store(kSettingsStore, 5).load(kSettingsObject, settings));
  EXPECT_EQ(settings.dump(),
            "{\"0x20000004\":\"harbor\",\"0x20000002\":\"noc\",\"0x20000003\":\"\","
            "\"0x2000000a\":\"\",\"0x0800000e\":15,\"0x08000010\":0,\"0x08000012\":0,"
            "\"0x08000011\":1,\"0x88000013\":[180092929,0,1],\"0x0800000d\":0,"
            "\"0x00000001\":true}");
  // The first change wrote "harbor" too; its removal took it out again.
  const auto stored = kx::Store(kCommunityStore, 5).loadAll();
  ASSERT_EQ(stored.size(), 1u);
  EXPECT_EQ(stored[0].second.getString(kName), "ops");
  EXPECT_TRUE(stored[0].second.getBool(kWriteAccess));
  EXPECT_FALSE(std::filesystem::exists(root + "/sarn/store/none"));
}

// What the watch command reads and prints; its subscription runs on a real
// bus in the integration tests.
TEST(Kxctl, WatchFiltersAndEventLines) {
  WatchRequest req;
  std::string err;
  ASSERT_TRUE(parseWatchArgs({"mask=0x4", "20,0", "0x10004", "--count", "2"}, req, err)) << err;
  EXPECT_EQ(req.path, (std::vector<uint32_t>{20, 0}));
  EXPECT_EQ(req.kind, 0x10004u);
  EXPECT_EQ(req.filter.dump(), "{\"0x08010002\":0,\"0x08010003\":4}");
  EXPECT_EQ(req.count, 2u);
  ASSERT_TRUE(parseWatchArgs({"20,0", "1", "value=3"}, req, err)) << err;
  EXPECT_EQ(req.filter.dump(), "{\"0x08010002\":3,\"0x08010003\":4294967295}");

  // Events print with their kind and publisher, and stop at the limit.
  std::ostringstream out;
  int stops = 0;
  EventPrinter printer(out, 2, [&] { ++stops; });
  kx::message ev = object(1);
  ev.setU32(kx::kCommand, 0x10004);
  ev.setU32Array(kx::kSrcPath, {20, 0});
  ev.setU32(kx::kRequestId, 5);
  printer.cmdUnknown(ev, 0x10004);
  ev.setU32(kx::kObjId, 2);
  printer.cmdSetObj(ev, 2);
  printer.cmdUnknown(ev, 0x10004);  // already queued when the limit was hit
  EXPECT_EQ(stops, 1);
  EXPECT_EQ(out.str(),
            "{\"0x08fe0001\":1,\"0x08ff0007\":65540,\"0x88ff0002\":[20,0]}\n"
            "{\"0x08fe0001\":2,\"0x08ff0007\":65540,\"0x88ff0002\":[20,0]}\n");
}

}  // namespace
}  // namespace kxctl
