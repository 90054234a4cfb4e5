// A scenario served on a real bus: a child process runs the server, the
// test talks to it as any bus client does.
#include "sim/server.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <fstream>
#include <string>
#include <thread>

#include "kx/looper.h"
#include "kx/platform.h"
#include "kx/transport.h"

namespace sim {
namespace {

constexpr uint32_t kClientService = 0x40007001;
constexpr int kTimeoutMs = 3000;

const char kScenario[] = R"({"services": {
  "24,1": {"record": {"0x2000000c": "edge-1"}},
  "20,0": {"page": 3, "events": "0x10004", "commands": {"1": "getall"},
           "list": [{"repeat": {"count": 10, "template": {
               "0x08fe0001": {"seq": 1}, "0x20010006": "ether${i}",
               "0x08010002": 0, "0x08010003": 1280}}},
             {"0x08fe0001": 11, "0x20010006": "pppoe-out1",
              "0x08010002": 128, "0x08010003": 1280}]}}})";

volatile std::sig_atomic_t g_childStop = 0;
Server* g_childServer = nullptr;

void onChildSignal(int) {
  g_childStop = 1;
  if (g_childServer) g_childServer->stop();
}

class ServerTest : public ::testing::Test {
 protected:
  void SetUp() override {
    char tmpl[] = "/tmp/sim_server_test.XXXXXX";
    ASSERT_NE(mkdtemp(tmpl), nullptr);
    root_ = tmpl;
    kx::setRoot(root_);
    ASSERT_TRUE(kx::makeDirs(kx::rootPath(kx::kBusDir)));
    Scenario scenario;
    std::string err;
    ASSERT_TRUE(parseScenario(nlohmann::json::parse(kScenario), scenario, err)) << err;

    child_ = fork();
    ASSERT_GE(child_, 0);
    if (child_ == 0) {
      signal(SIGTERM, onChildSignal);
      RealClock clock;
      Journal journal;
      std::string jerr;
      journal.open(root_ + "/journal.log", jerr);
      Server server(scenario, scenario.serviceIds(), clock, journal, g_childStop);
      if (!server.start(jerr)) _exit(3);
      g_childServer = &server;
      server.run();
      g_childServer = nullptr;
      _exit(0);
    }
    // Ready once both sockets take connections (a socket file exists a
    // moment before its listen()).
    auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while ((!kx::Transport::served(20) || !kx::Transport::served(24)) &&
           std::chrono::steady_clock::now() < deadline) {
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    client_ = std::make_unique<kx::Looper>(kClientService);
  }

  void TearDown() override {
    client_.reset();
    if (child_ > 0) {
      kill(child_, SIGTERM);
      int status = 0;
      ASSERT_EQ(waitpid(child_, &status, 0), child_);
      EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    }
    std::string cmd = "rm -rf '" + root_ + "'";
    EXPECT_EQ(std::system(cmd.c_str()), 0);
  }

  kx::message call(std::vector<uint32_t> path, uint32_t cmd, kx::message msg = kx::message()) {
    msg.setDstPath(path);
    msg.setCommand(cmd);
    return client_->exchangeMessage(msg, kTimeoutMs);
  }

  std::string root_;
  pid_t child_ = -1;
  std::unique_ptr<kx::Looper> client_;
};

TEST_F(ServerTest, AnswersRecordsListsAndCommandsWithoutBehaviour) {
  EXPECT_EQ(call({24, 1}, kx::kCmdGet).getString(0x2000000c), "edge-1");
  // Paged by 3, resumed at each mark, through an alias of get all.
  std::vector<uint32_t> ids;
  kx::message req;
  for (int page = 0; page < 10; ++page) {
    kx::message reply = call({20, 0}, 1, req);
    ASSERT_FALSE(kx::isError(reply)) << kx::getError(reply);
    for (const auto& o : reply.getMessageArray(kx::kObjects)) ids.push_back(o.getU32(kx::kObjId));
    if (!reply.has(kx::kContinue)) break;
    req.setU32(kx::kContinue, reply.getU32(kx::kContinue));
  }
  EXPECT_EQ(ids, (std::vector<uint32_t>{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11}));
  EXPECT_EQ(call({20, 0}, kx::kCmdCount).getU32(kx::kCount), 11u);
  // A command the record has no behaviour for is answered empty, and
  // journaled like every request.
  kx::message odd = call({24, 1}, 5);
  EXPECT_FALSE(kx::isError(odd));
  EXPECT_TRUE(odd.empty());
  std::ifstream in(root_ + "/journal.log");
  std::string line, last;
  int lines = 0;
  while (std::getline(in, line)) {
    ++lines;
    last = line;
  }
  EXPECT_EQ(lines, 7);  // get, four pages, count, the odd command
  nlohmann::json j = nlohmann::json::parse(last);
  EXPECT_EQ(j["0x08ff0007"], 5);
  EXPECT_EQ(j["0x88ff0001"], nlohmann::json::array({24, 1}));
  // Handler 0 of a served service answers too, though the scenario does
  // not list it: a reboot to [24] is answered empty.
  kx::message reboot = call({24}, 5);
  EXPECT_FALSE(kx::isError(reboot)) << kx::getError(reboot);
  EXPECT_TRUE(reboot.empty());
  // A handler that is not there at all is the bus's error.
  EXPECT_TRUE(kx::isError(call({24, 9}, kx::kCmdGet)));
}

}  // namespace
}  // namespace sim
