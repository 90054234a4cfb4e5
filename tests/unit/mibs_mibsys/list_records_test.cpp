// The script and address rows: conversions and the script's write-back.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "kx/message.h"
#include "mibs/system_list_records.h"

namespace {

// Runs a bulk conversion on one object; the test owns what it appended.
template <class Record>
std::vector<std::unique_ptr<Record>> convert(void (*build)(const kx::message&,
                                                           std::vector<Data*>*),
                                             const kx::message& object) {
  std::vector<Data*> out;
  build(object, &out);
  std::vector<std::unique_ptr<Record>> owned;
  for (Data* d : out) owned.emplace_back(static_cast<Record*>(d));
  return owned;
}

kx::message scriptObject(uint32_t id, const std::string& name) {
  kx::message m;
  m.setU32(kx::kObjId, id);
  m.setString(0x20000066, name);
  return m;
}

}  // namespace

TEST(Script, BuildAppendsOneRowThatIsNotRunning) {
  testing::internal::CaptureStderr();
  auto rows = convert<Script>(Script::build, scriptObject(2, "reset-guest-wifi"));
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "Script::build\n");
  ASSERT_EQ(rows.size(), 1u);
  EXPECT_EQ(rows[0]->id, 2);
  EXPECT_EQ(rows[0]->run, 0);
  EXPECT_EQ(rows[0]->name, "reset-guest-wifi");
}

TEST(Script, RenameSendsTheIdAndNameWithTheSetCommand) {
  auto rows = convert<Script>(Script::build, scriptObject(7, "backup-config"));
  rows[0]->name = "backup-all";
  kx::message set;
  set.setCommand(kx::kCmdSetObj);
  testing::internal::CaptureStderr();
  rows[0]->reverseBuild(set);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "Script::reverseBuild\n");
  EXPECT_EQ(set.command(), kx::kCmdSetObj);
  EXPECT_EQ(set.getU32(kx::kObjId), 7u);
  EXPECT_EQ(set.getString(0x20000066), "backup-all");
}

TEST(Script, NonZeroRunBecomesTheRunCommandWithoutTheName) {
  auto rows = convert<Script>(Script::build, scriptObject(7, "backup-config"));
  rows[0]->run = 2;
  kx::message set;
  set.setCommand(kx::kCmdSetObj);
  testing::internal::CaptureStderr();
  rows[0]->reverseBuild(set);
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "Script::reverseBuild\nRun, FOREST, run!\n");
  EXPECT_EQ(set.command(), 1u);
  EXPECT_EQ(set.getU32(kx::kObjId), 7u);
  EXPECT_FALSE(set.has(0x20000066));
}

TEST(AddressData, FieldsAndTheAddressInNetworkOrder) {
  kx::message m;
  m.setU32(kx::kObjId, 3);
  m.setU32(0x08000001, 0xc0a8580a);  // 192.168.88.10 as the bus carries it
  m.setRaw(0x30000002, kx::message::raw{0x00, 0x1b, 0x21, 0x3a, 0x4f, 0x10});
  m.setString(0x20000007, "printer");
  m.setString(0x20000008, "1:0:1b:21:3a:4f:10");
  m.setString(0x20000006, "dhcp-lan");
  m.setString(0x2000000b, "bound");
  auto rows = convert<AddressData>(AddressData::build, m);
  ASSERT_EQ(rows.size(), 1u);
  const AddressData& a = *rows[0];
  EXPECT_EQ(a.id, 3);
  // First octet in the low byte, as the IpAddress packer expects.
  EXPECT_EQ(a.address, 0x0a58a8c0u);
  EXPECT_EQ(a.hardwareAddress, (std::vector<unsigned char>{0x00, 0x1b, 0x21, 0x3a, 0x4f, 0x10}));
  EXPECT_EQ(a.hostName, "printer");
  EXPECT_EQ(a.clientId, "1:0:1b:21:3a:4f:10");
  EXPECT_EQ(a.server, "dhcp-lan");
  EXPECT_EQ(a.status, "bound");
}

TEST(AddressData, AnEmptyObjectStillMakesARowAndWritesNothingBack) {
  auto rows = convert<AddressData>(AddressData::build, kx::message());
  ASSERT_EQ(rows.size(), 1u);
  EXPECT_EQ(rows[0]->address, 0u);
  EXPECT_TRUE(rows[0]->hardwareAddress.empty());
  kx::message set;
  rows[0]->reverseBuild(set);
  EXPECT_TRUE(set.empty());
}
