// The receive path as the datagrams meet it: once warm, a GET or GETNEXT
// of a scalar or of a cached table cell allocates nothing from the
// datagram's arrival to the reply's departure; and a reply that is ready
// leaves before the agent waits on the bus for a later request.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include "agent/snmp_looper.h"
#include "agent_test_util.h"
#include "data/get_all_provider.h"
#include "data/packers.h"
#include "data/providers.h"
#include "data/tables.h"
#include "engine/context.h"
#include "engine/leafs.h"
#include "kx/looper.h"
#include "kx/store.h"
#include "tests/unit/support/snmp_request.h"
#include "tests/unit/support/temp_root.h"

// Every operator new of the process is counted: the request path must make
// none once its storage is warm.
namespace {
long g_allocations = 0;
}  // namespace

void* operator new(std::size_t n) {
  ++g_allocations;
  if (void* p = std::malloc(n == 0 ? 1 : n)) return p;
  throw std::bad_alloc();
}
void operator delete(void* p) noexcept { std::free(p); }
void operator delete(void* p, std::size_t) noexcept { std::free(p); }

namespace {

using test_support::TempRoot;
using Bytes = std::vector<uint8_t>;

const OID kBase("1.3.6.1.4.1.32473.9999");
constexpr uint32_t kRecordService = 77;
constexpr uint32_t kListService = 78;
// Longer than any string kept inside the string object itself.
const std::string kLongText = "a value longer than the small-string buffer of std::string";

// A v2c request of one binding through the agent's community.
Bytes v2cRequest(unsigned tag, const OID& name, int requestId) {
  return snmp_request::communityRequest(1, "harbor", tag, {name}, requestId);
}

struct Item : Data {
  int index = 0;
  std::string text;
};

Data* itemOf(const kx::message& m) {
  auto* item = new Item;
  item->text = m.getString(kx::string_id(1));
  return item;
}

void itemsOf(const kx::message& m, std::vector<Data*>* out) {
  auto* item = new Item;
  item->index = static_cast<int>(m.getU32(kx::kObjId));
  item->text = m.getString(kx::string_id(1));
  out->push_back(item);
}

// The record and list the providers read, served in the agent's process.
class Services : public kx::Handler {
 public:
  kx::message cmdGet(const kx::message&) override {
    kx::message record;
    record.setString(kx::string_id(1), kLongText);
    return record;
  }
  kx::message cmdGetAll(const kx::message&, uint32_t, uint32_t) override {
    kx::message reply;
    std::vector<kx::message>& rows = reply.messageArray(kx::kObjects);
    for (uint32_t id : {1u, 5u, 9u}) {
      rows.emplace_back();
      rows.back().setU32(kx::kObjId, id);
      rows.back().setString(kx::string_id(1), kLongText + std::to_string(id));
    }
    return reply;
  }
};

uint32_t frozenTicks() { return 1000; }

class RequestPathTest : public ::testing::Test {
 protected:
  void SetUp() override {
    kx::message seed;
    seed.setBool(snmp::kEnabled, true);
    kx::Store(snmp::kSettingsStore, 5).save(snmp::kSettingsObject, seed);
    loop = std::make_unique<SnmpLooper>();
    loop->servicePort = agent_test::freePort();
    loop->init();
    ASSERT_TRUE(loop->enabled);
    // Caches stay valid and no timer falls due while the test runs.
    setTickSource(frozenTicks);
    loop->setClock([] { return uint64_t{1000}; });
    for (uint32_t id : {kRecordService, kListService}) {
      ASSERT_TRUE(loop->listen(id));
      loop->addHandler(id, 0, &services);
    }

    client = ::socket(AF_INET, SOCK_DGRAM, 0);
    timeval tv{1, 0};
    ::setsockopt(client, SOL_SOCKET, SO_RCVTIMEO, &tv, sizeof tv);
    to = agent_test::ipv4("127.0.0.1", loop->servicePort);
  }
  void TearDown() override {
    for (const OID& key : keys) leafs.erase(key);
    ::close(client);
    setTickSource(nullptr);
    loop.reset();
  }

  // Registers leaf under kBase + arc (the test owns it).
  template <class L>
  void add(unsigned arc, L* leaf) {
    keys.push_back(kBase + arc);
    addLeaf(keys.back(), leaf);
    owned.emplace_back(leaf);
  }

  void send(const Bytes& request) {
    ::sendto(client, request.data(), request.size(), 0, reinterpret_cast<const sockaddr*>(&to),
             sizeof to);
  }
  Bytes receive() {
    Bytes buf(4096);
    const ssize_t got = ::recv(client, buf.data(), buf.size(), 0);
    buf.resize(got > 0 ? static_cast<size_t>(got) : 0);
    return buf;
  }

  TempRoot root;
  std::unique_ptr<SnmpLooper> loop;
  Services services;
  std::vector<OID> keys;
  std::vector<std::unique_ptr<Leaf>> owned;
  int client = -1;
  sockaddr_in to{};
};

TEST_F(RequestPathTest, WarmGetAndGetNextAllocateNothing) {
  ConstStringPacker constant(kLongText, 0x04, 0);
  ConstOIDPacker constantOid(kBase + 1 + 2 + 3, 0x06);
  DataStringPacker text(dataMember(&Item::text), 0x04, 0);
  DataNumPacker index(dataMember(&Item::index), 0x02);
  GetProvider record(itemOf, {kRecordService}, kx::kCmdGet, kx::kCmdSet);
  GetAllProvider list;
  list.addSource(itemsOf, {kListService});
  MapTable table(&list);
  table.addIndex(&index);
  add(1, new ScalarLeaf(&constant, nullptr));
  add(2, new ScalarLeaf(&text, &record));
  add(3, new ScalarLeaf(&constantOid, nullptr));
  add(4, new ColumnarLeaf(&text, &table));

  const struct {
    const char* what;
    unsigned tag;
    OID name;
  } cases[] = {
      {"GET of a constant", 0xA0, kBase + 1 + 0},
      {"GETNEXT onto a constant", 0xA1, kBase + 1},
      {"GET of a cached scalar", 0xA0, kBase + 2 + 0},
      {"GETNEXT onto a cached scalar", 0xA1, kBase + 2},
      {"GET of a constant OID", 0xA0, kBase + 3 + 0},
      {"GET of a cached table cell", 0xA0, kBase + 4 + 5},
      {"GETNEXT to the next cell", 0xA1, kBase + 4 + 5},
      {"GETNEXT onto the first cell", 0xA1, kBase + 4},
      {"GET of a missing instance", 0xA0, kBase + 4 + 7},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    const Bytes request = v2cRequest(c.tag, c.name, 0x1234);
    // The first request fills the caches and grows the storage.
    send(request);
    loop->runOnce(1000);
    const Bytes first = receive();
    ASSERT_FALSE(first.empty()) << "no reply";
    for (int i = 0; i < 3; ++i) {
      send(request);
      const long before = g_allocations;
      loop->runOnce(1000);
      EXPECT_EQ(g_allocations - before, 0);
      EXPECT_EQ(receive(), first);
    }
  }
}

// A leaf that asks service [kRecordService] on every GET and answers with
// the number the service replies in u32 1.
class AskingLeaf : public Leaf {
 public:
  bool get(Context& ctx) override {
    kx::message request;
    request.setCommand(kx::kCmdGet);
    request.setDstPath({kRecordService});
    const kx::message reply = busExchange(request);
    if (kx::isError(reply)) return false;
    ctx.name += ZERO_OID;
    ctx.out.addOID(ctx.name, 0x06);
    ctx.out.add(static_cast<int>(reply.getU32(kx::u32_id(1))), 0x02);
    return true;
  }
  bool getNext(Context&) override { return false; }
  bool set(Context&) override { return false; }
};

// Serves [kRecordService] in its own process: a get answers whether a
// datagram was already waiting on watched when the request came, then
// takes its time.
class Watcher : public kx::Looper {
 public:
  explicit Watcher(int watched) : kx::Looper(kRecordService), watched_(watched) {}
  kx::message cmdGet(const kx::message&) override {
    char byte;
    const bool waiting = ::recv(watched_, &byte, 1, MSG_PEEK | MSG_DONTWAIT) >= 0;
    ::usleep(100 * 1000);
    kx::message reply;
    reply.setU32(kx::u32_id(1), waiting ? 1 : 0);
    return reply;
  }

 private:
  int watched_;
};

TEST_F(RequestPathTest, ReadyReplyLeavesBeforeTheBusWaitOfALaterRequest) {
  loop->removeHandler(kRecordService, 0);
  ConstStringPacker constant(kLongText, 0x04, 0);
  add(1, new ScalarLeaf(&constant, nullptr));
  add(5, new AskingLeaf);
  // The agent stops serving [kRecordService] itself: a new looper for it
  // comes up in a child process that watches the client's socket.
  loop.reset();
  const pid_t child = ::fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    Watcher watcher(client);
    watcher.setupLeave(5000);
    watcher.run();
    ::_exit(0);
  }
  struct stat st;
  const std::string socketPath = root.path() + "/sarn/run/bus/77";
  for (int i = 0; i < 200 && ::stat(socketPath.c_str(), &st) != 0; ++i) ::usleep(10 * 1000);
  loop = std::make_unique<SnmpLooper>();
  loop->servicePort = agent_test::freePort();
  loop->init();
  to = agent_test::ipv4("127.0.0.1", loop->servicePort);

  // Both are read in one wake-up: the first reply is ready when the second
  // request makes the agent wait on the bus.
  send(v2cRequest(0xA0, kBase + 1 + 0, 1));
  send(v2cRequest(0xA0, kBase + 5 + 0, 2));
  loop->runOnce(3000);
  const Bytes first = receive();
  const Bytes second = receive();
  ::kill(child, SIGKILL);
  ::waitpid(child, nullptr, 0);

  ASSERT_FALSE(first.empty());
  ASSERT_FALSE(second.empty());
  EXPECT_EQ(first[first.size() - kLongText.size() - 1], kLongText.size());
  // The last binding's value: INTEGER 1, the watcher saw the reply waiting.
  EXPECT_EQ(Bytes(second.end() - 3, second.end()), (Bytes{0x02, 0x01, 0x01}));
}

}  // namespace
