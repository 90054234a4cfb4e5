// A real bus for the data tests: the agent's looper (service 34) under a
// temporary root, with test services served in-process on other service ids
// the same looper listens for, and a controlled clock for ticks and timers.
#ifndef TESTS_UNIT_DATA_BUS_FIXTURE_H_
#define TESTS_UNIT_DATA_BUS_FIXTURE_H_

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "kx/handler.h"
#include "kx/looper.h"
#include "kx/message.h"

// A list service: get all (paged), set object, count, and a settings record
// (get/set).  Counts what it is asked.
class ListService : public kx::Handler {
 public:
  std::vector<kx::message> objects;
  unsigned pageSize = 100;
  // 1-based page of a get all that answers with an error; 0 = never.
  unsigned failPage = 0;
  bool answerCount = true;
  bool refuseSet = false;
  // The settings record; getError makes cmdGet fail with that text.
  kx::message record;
  std::string getError;

  unsigned getAllCalls = 0;
  unsigned getCalls = 0;
  unsigned countCalls = 0;
  std::vector<uint32_t> startsSeen;      // continuation mark of each get all
  std::vector<uint32_t> getAllArgsSeen;  // u32 0xfe000c of each get all
  std::vector<kx::message> setsSeen;     // set object / set record requests

  kx::message cmdGetAll(const kx::message& msg, uint32_t start, uint32_t count) override;
  kx::message cmdSetObj(const kx::message& msg, uint32_t id) override;
  kx::message cmdGetCount(const kx::message& msg) override;
  kx::message cmdGet(const kx::message& msg) override;
  kx::message cmdSet(const kx::message& msg) override;
};

// The ticks the data clock reports while a BusTest runs.
extern uint32_t g_testTicks;

class BusTest : public ::testing::Test {
 protected:
  void SetUp() override;
  void TearDown() override;

  // A new service answering at path [id] on the agent's looper; the
  // fixture owns it and removes it after the looper has stopped.
  ListService& serve(uint32_t id);
  // Moves both clocks on by ticks and fires the timers that fell due.
  void advance(uint32_t ticks);

  std::string root_;
  uint64_t nowMs_ = 1000;
  std::unique_ptr<kx::Looper> looper_;
  std::vector<std::unique_ptr<ListService>> services_;
};

// A list object with id and u32 0x10001 = value.
kx::message listObject(uint32_t id, uint32_t value);

#endif  // TESTS_UNIT_DATA_BUS_FIXTURE_H_
