#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <sstream>

#include "tools/event_printer.h"
#include "tools/watch_command.h"

namespace kxctl {
namespace {

TEST(WatchArgs, PathKindFilterHalvesAndCount) {
  WatchRequest req;
  std::string err;
  ASSERT_TRUE(parseWatchArgs({"20,0", "0x10004"}, req, err)) << err;
  EXPECT_EQ(req.path, (std::vector<uint32_t>{20, 0}));
  EXPECT_EQ(req.kind, 0x10004u);
  EXPECT_TRUE(req.filter.empty());
  EXPECT_EQ(req.count, 0u);
  // A missing half of the filter defaults to matching everything.
  ASSERT_TRUE(parseWatchArgs({"20,0", "0x10004", "value=3"}, req, err)) << err;
  EXPECT_EQ(req.filter.getU32(kx::kFilterValue, 99), 3u);
  EXPECT_EQ(req.filter.getU32(kx::kFilterMask), 0xffffffffu);
  ASSERT_TRUE(parseWatchArgs({"mask=0x4", "20,0", "0x10004", "--count", "2"}, req, err));
  EXPECT_EQ(req.filter.getU32(kx::kFilterValue, 99), 0u);
  EXPECT_EQ(req.filter.getU32(kx::kFilterMask), 4u);
  EXPECT_EQ(req.count, 2u);
}

TEST(WatchArgs, Mistakes) {
  for (const std::vector<std::string>& args : {std::vector<std::string>{},
                                               {"20,0"},
                                               {"20,0", "x"},
                                               {"20,,0", "1"},
                                               {"20,0", "1", "2"},
                                               {"20,0", "1", "--count"},
                                               {"20,0", "1", "--count", "0"},
                                               {"20,0", "1", "value=abc"},
                                               {"20,0", "1", "mask="},
                                               {"20,0", "1", "--follow"}}) {
    WatchRequest req;
    req.kind = 42;
    std::string err;
    EXPECT_FALSE(parseWatchArgs(args, req, err)) << args.size();
    EXPECT_FALSE(err.empty());
    EXPECT_EQ(req.kind, 42u) << "a refused command line leaves the request alone";
  }
}

TEST(EventPrinter, PrintsOneLinePerEventAndStopsAtTheLimit) {
  std::ostringstream out;
  int stops = 0;
  EventPrinter printer(out, 2, [&] { ++stops; });
  kx::message ev;
  ev.setU32(kx::kCommand, 0x10004);
  ev.setU32Array(kx::kSrcPath, {20, 0});
  ev.setU32(kx::kRequestId, 5);
  ev.setU32(kx::kObjId, 1);
  printer.cmdUnknown(ev, 0x10004);
  EXPECT_EQ(stops, 0);
  ev.setU32(kx::kObjId, 2);
  printer.cmdSetObj(ev, 2);
  EXPECT_EQ(stops, 1);
  printer.cmdUnknown(ev, 0x10004);  // already queued when the limit was hit
  EXPECT_EQ(stops, 1);
  EXPECT_EQ(printer.printed(), 2u);

  std::istringstream lines(out.str());
  std::string line;
  std::vector<nlohmann::json> events;
  while (std::getline(lines, line)) events.push_back(nlohmann::json::parse(line));
  ASSERT_EQ(events.size(), 2u);
  EXPECT_EQ(events[0], nlohmann::json::parse(
                           R"({"0x08ff0007": 65540, "0x88ff0002": [20, 0], "0x08fe0001": 1})"));
  EXPECT_EQ(events[1]["0x08fe0001"], 2);
}

}  // namespace
}  // namespace kxctl
