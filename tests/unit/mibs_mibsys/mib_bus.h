// A bus for the MIB module tests: a looper (the agent's service 34) under a
// temporary root that also serves fake router services in-process, so the
// modules' providers and write-backs reach them through the real transport.
#ifndef TESTS_UNIT_MIBS_MIBSYS_MIB_BUS_H_
#define TESTS_UNIT_MIBS_MIBSYS_MIB_BUS_H_

#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "data/bus.h"
#include "kx/handler.h"
#include "kx/looper.h"
#include "kx/paths.h"

// A router service: a settings record and a one-page list; every request
// it gets is kept.
class FakeService : public kx::Handler {
 public:
  kx::message record;
  std::vector<kx::message> objects;
  std::vector<kx::message> received;

  kx::message cmdGet(const kx::message& msg) override { return keep(msg, record); }
  kx::message cmdSet(const kx::message& msg) override { return keep(msg, kx::message()); }
  kx::message cmdSetObj(const kx::message& msg, uint32_t) override {
    return keep(msg, kx::message());
  }
  kx::message cmdGetAll(const kx::message& msg, uint32_t, uint32_t) override {
    kx::message reply;
    reply.messageArray(kx::kObjects) = objects;
    return keep(msg, reply);
  }
  kx::message cmdUnknown(const kx::message& msg, uint32_t) override {
    return keep(msg, kx::message());
  }

  // Requests with this command.
  std::vector<kx::message> withCommand(uint32_t command) const {
    std::vector<kx::message> out;
    for (const kx::message& m : received)
      if (m.command() == command) out.push_back(m);
    return out;
  }

 private:
  kx::message keep(const kx::message& msg, const kx::message& reply) {
    received.push_back(msg);
    return reply;
  }
};

class MibBusTest : public ::testing::Test {
 protected:
  void SetUp() override {
    char dir[] = "/tmp/mibs_test_XXXXXX";
    ASSERT_NE(mkdtemp(dir), nullptr);
    root_ = dir;
    kx::setRoot(root_);
    looper_ = std::make_unique<kx::Looper>(34);
    setBusLooper(looper_.get());
  }
  void TearDown() override {
    setBusLooper(nullptr);
    looper_.reset();
    services_.clear();
    std::filesystem::remove_all(root_);
  }
  // A fake service at [service, handler]; the fixture owns it.
  FakeService& serve(uint32_t service, uint32_t handler) {
    services_.push_back(std::make_unique<FakeService>());
    if (!looper_->listening(service)) {
      EXPECT_TRUE(looper_->listen(service));
    }
    looper_->addHandler(service, handler, services_.back().get());
    return *services_.back();
  }

  std::string root_;
  std::unique_ptr<kx::Looper> looper_;
  std::vector<std::unique_ptr<FakeService>> services_;
};

#endif  // TESTS_UNIT_MIBS_MIBSYS_MIB_BUS_H_
