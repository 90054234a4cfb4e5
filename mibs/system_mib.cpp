#include "mibs/system_mib.h"

#include <sys/utsname.h>

#include <cstdio>
#include <utility>
#include <vector>

#include "asn1/ber.h"
#include "asn1/oid.h"
#include "data/get_all_provider.h"
#include "data/packers.h"
#include "data/providers.h"
#include "data/tables.h"
#include "engine/data_provider.h"
#include "engine/leafs.h"
#include "kx/message.h"

namespace {

// Fields of the resources record [24, 2].
constexpr uint32_t kUptime = kx::u32_id(0x1);  // seconds
constexpr uint32_t kMemoryTotal = kx::u32_id(0x2);
constexpr uint32_t kMemoryFree = kx::u32_id(0x3);
constexpr uint32_t kDiskTotal = kx::u32_id(0xa);
constexpr uint32_t kDiskFree = kx::u32_id(0xb);
constexpr uint32_t kProcessorLoad = kx::u32_id(0x6);
constexpr uint32_t kHundredthsPerSecond = 100;

// Fields of the clock record [24, 0].
constexpr uint32_t kClockSeconds = kx::u32_id(0x7);
constexpr uint32_t kClockUtcOffset = kx::u32_id(0x1b);  // seconds, signed

// Field of the identity record [24, 1].
constexpr uint32_t kIdentName = kx::string_id(0xc);

// Fields of the software record [65].
constexpr uint32_t kSoftwareText = kx::string_id(0x1);
constexpr uint32_t kSoftwareVersion = kx::u32_id(0x4);
constexpr uint32_t kSoftwareVariant = kx::u32_id(0x9);
// The time every software date is taken from.
constexpr std::time_t kSoftwareDateTime = 67;

// The reboot command goes to the system service's own looper.
const std::vector<uint32_t> kRebootPath = {24};
constexpr uint32_t kRebootCommand = 5;

constexpr int kSecondsPerHour = 3600;
constexpr int kSecondsPerMinute = 60;

}  // namespace

std::vector<unsigned char> localDateBytes(std::time_t t) {
  std::vector<unsigned char> bytes(kLocalDateLength, 0);
  const std::tm* tm = std::localtime(&t);
  if (!tm) return bytes;
  const int year = tm->tm_year + 1900;
  bytes[0] = static_cast<unsigned char>(year >> 8);
  bytes[1] = static_cast<unsigned char>(year % 256);
  bytes[2] = static_cast<unsigned char>(tm->tm_mon + 1);
  bytes[3] = static_cast<unsigned char>(tm->tm_mday);
  bytes[4] = static_cast<unsigned char>(tm->tm_hour);
  bytes[5] = static_cast<unsigned char>(tm->tm_min);
  bytes[6] = static_cast<unsigned char>(tm->tm_sec);
  bytes[7] = 0;  // deci-seconds are not known
  return bytes;
}

Data* ResourceData::build(const kx::message& msg) {
  auto* r = new ResourceData;
  const uint32_t memoryTotal = msg.getU32(kMemoryTotal);
  const uint32_t diskTotal = msg.getU32(kDiskTotal);
  r->uptime = static_cast<int>(msg.getU32(kUptime) * kHundredthsPerSecond);
  r->memoryTotal = static_cast<int>(memoryTotal);
  r->memoryUsed = static_cast<int>(memoryTotal - msg.getU32(kMemoryFree));
  r->diskTotal = static_cast<int>(diskTotal);
  r->diskUsed = static_cast<int>(diskTotal - msg.getU32(kDiskFree));
  r->processorLoad = static_cast<int>(msg.getU32(kProcessorLoad));
  return r;
}

Data* DateData::build(const kx::message& msg) {
  auto* d = new DateData;
  d->date = localDateBytes(static_cast<std::time_t>(msg.getU32(kClockSeconds)));
  // Widened before negating: the most negative offset has no 32-bit
  // opposite.
  int64_t offset = static_cast<int32_t>(msg.getU32(kClockUtcOffset));
  unsigned char sign = '+';
  if (offset < 0) {
    sign = '-';
    offset = -offset;
  }
  d->date.push_back(sign);
  d->date.push_back(static_cast<unsigned char>(offset / kSecondsPerHour));
  d->date.push_back(static_cast<unsigned char>((offset / kSecondsPerMinute) % 60));
  return d;
}

Data* Ident::build(const kx::message& msg) {
  auto* i = new Ident;
  i->name = msg.getString(kIdentName);
  return i;
}

void Ident::reverseBuild(kx::message& msg) {
  std::fputs("Ident::reverseBuild\n", stderr);
  msg.setString(kIdentName, name);
}

Data* TheSystem::build(const kx::message&) {
  std::fputs("TheSystem::build\n", stderr);
  return new TheSystem;
}

void TheSystem::reverseBuild(kx::message&) {
  std::fputs("TheSystem::reverseBuild\n", stderr);
  if (reboot == 0) return;
  std::fputs("TheSystem::REBOOT\n", stderr);
  kx::message request;
  request.setDstPath(kRebootPath);
  request.setCommand(kRebootCommand);
  // The answer means nothing: the router is going down.
  busExchange(request);
}

Data* SoftwareInfoData::build(const kx::message& msg) {
  auto* s = new SoftwareInfoData;
  s->text = msg.getString(kSoftwareText);
  s->date = localDateBytes(kSoftwareDateTime);
  s->versionNumber = static_cast<int>(msg.getU32(kSoftwareVersion));
  s->variant = static_cast<int>(msg.getU32(kSoftwareVariant) + 1);
  return s;
}

namespace {

constexpr uint32_t kScriptName = kx::string_id(0x66);
// The command that runs a script instead of changing it.
constexpr uint32_t kRunCommand = 1;

constexpr uint32_t kAddress = kx::be32_id(0x1);
constexpr uint32_t kHardwareAddress = kx::raw_id(0x2);
constexpr uint32_t kHostName = kx::string_id(0x7);
constexpr uint32_t kClientId = kx::string_id(0x8);
constexpr uint32_t kServer = kx::string_id(0x6);
constexpr uint32_t kStatus = kx::string_id(0xb);

}  // namespace

void Script::build(const kx::message& object, std::vector<Data*>* out) {
  std::fputs("Script::build\n", stderr);
  auto* s = new Script;
  s->id = static_cast<int>(object.getU32(kx::kObjId));
  s->name = object.getString(kScriptName);
  out->push_back(s);
}

void Script::reverseBuild(kx::message& msg) {
  std::fputs("Script::reverseBuild\n", stderr);
  msg.setU32(kx::kObjId, static_cast<uint32_t>(id));
  if (run != 0) {
    std::fputs("Run, FOREST, run!\n", stderr);
    msg.setCommand(kRunCommand);
  } else {
    msg.setString(kScriptName, name);
  }
}

void AddressData::build(const kx::message& object, std::vector<Data*>* out) {
  auto* a = new AddressData;
  a->id = static_cast<int>(object.getU32(kx::kObjId));
  a->address = object.getBe32(kAddress);
  a->hardwareAddress = object.getRaw(kHardwareAddress);
  a->hostName = object.getString(kHostName);
  a->clientId = object.getString(kClientId);
  a->server = object.getString(kServer);
  a->status = object.getString(kStatus);
  out->push_back(a);
}

std::string getOSVersion() {
  struct utsname names;
  if (uname(&names) != 0) return std::string();
  return names.release;
}

DataProvider* resourceProvider = nullptr;

namespace {

// Storage and device types of the host-resources registry.
const OID kStorageOther = {1, 3, 6, 1, 2, 1, 25, 2, 1, 1};
const OID kStorageFixedDisk = {1, 3, 6, 1, 2, 1, 25, 2, 1, 4};
const OID kDeviceProcessor = {1, 3, 6, 1, 2, 1, 25, 3, 1, 3};

// Defined after the types in this file, so they are built after them.
StorageData g_diskRow(kDiskRowIndex, kStorageFixedDisk, "disk");
StorageData g_memoryRow(kMemoryRowIndex, kStorageOther, "main memory");
ProcessorData g_processorRow(kDeviceProcessor);

const ResourceData* currentResources() {
  return resourceProvider ? static_cast<const ResourceData*>(resourceProvider->get()) : nullptr;
}

}  // namespace

Data* diskRow() {
  if (const ResourceData* r = currentResources()) {
    g_diskRow.size = r->diskTotal;
    g_diskRow.used = r->diskUsed;
  }
  return &g_diskRow;
}

Data* memoryRow() {
  if (const ResourceData* r = currentResources()) {
    g_memoryRow.size = r->memoryTotal;
    g_memoryRow.used = r->memoryUsed;
  }
  return &g_memoryRow;
}

Data* processorRow() {
  if (const ResourceData* r = currentResources()) g_processorRow.load = r->processorLoad;
  g_processorRow.index = kProcessorRowIndex;
  return &g_processorRow;
}

Data* ConfigInfoProvider::get() {
  // Assignments: the strings keep their storage from one read to the next.
  contact = *source_.contact;
  location = *source_.location;
  return this;
}

namespace {

// BER tags of the values served here.
using ber::kCounter32;
using ber::kInteger;
using ber::kIpAddress;
using ber::kObjectId;
using ber::kOctetString;
using ber::kTimeTicks;

const char kSysDescr[] = "router";
// Layers 2, 3, 4 and 7: a bridging router with applications on board.
constexpr int kSysServices = 78;
// hrStorageAllocationUnits as stated; the sizes themselves are passed on as
// the resource service reports them.
constexpr int kAllocationUnit = 1024;

const std::vector<unsigned int> kClockPath = {24, 0};
const std::vector<unsigned int> kIdentityPath = {24, 1};
const std::vector<unsigned int> kResourcePath = {24, 2};
const std::vector<unsigned int> kSoftwarePath = {65};
const std::vector<unsigned int> kScriptPath = {48, 101};
const std::vector<unsigned int> kAddressPath = {10, 1};

const OID kSystem = {1, 3, 6, 1, 2, 1, 1};
const OID kHrSystem = {1, 3, 6, 1, 2, 1, 25, 1};
const OID kHrStorage = {1, 3, 6, 1, 2, 1, 25, 2};
const OID kHrDevice = {1, 3, 6, 1, 2, 1, 25, 3};
const OID kEnterprise = {1, 3, 6, 1, 4, 1, 32473, 1};
const OID kEnterpriseGroups = kEnterprise + 1;

GetProvider* settingsProvider(GetProvider::Convert convert, std::vector<unsigned int> const& path) {
  return new GetProvider(convert, path, kx::kCmdGet, kx::kCmdSet);
}

void buildSystemGroup(GetProvider* resources, GetProvider* identity,
                      ConfigInfoProvider::Source settings) {
  auto* config = new ConfigInfoProvider(settings);
  addScalarConstStringLeaf(kSystem + 1, kSysDescr, kOctetString);
  addScalarConstOIDLeaf(kSystem + 2, kEnterprise, kObjectId);
  addScalarLeaf(kSystem + 3, new DataNumPacker(dataMember(&ResourceData::uptime), kTimeTicks),
                resources);
  addScalarLeaf(kSystem + 4,
                new DataStringPacker(dataMember(&ConfigInfoProvider::contact), kOctetString, 0),
                config);
  addScalarLeaf(kSystem + 5, new DataStringPacker(dataMember(&Ident::name), kOctetString, 0),
                identity);
  addScalarLeaf(kSystem + 6,
                new DataStringPacker(dataMember(&ConfigInfoProvider::location), kOctetString, 0),
                config);
  addScalarConstNumLeaf(kSystem + 7, kSysServices, kInteger);
}

void buildHostResources(GetProvider* resources) {
  auto* clock = settingsProvider(DateData::build, kClockPath);
  addScalarLeaf(kHrSystem + 1, new DataNumPacker(dataMember(&ResourceData::uptime), kTimeTicks),
                resources);
  addScalarLeaf(kHrSystem + 2, new DataRawPacker(dataMember(&DateData::date), kOctetString, 0),
                clock);

  addScalarLeaf(kHrStorage + 2, new DataNumPacker(dataMember(&ResourceData::memoryTotal), kInteger),
                resources);
  auto* storage = new StaticMuxTable();
  storage->addProvider(OID{kDiskRowIndex}, new ProxyDataProvider(diskRow));
  storage->addProvider(OID{kMemoryRowIndex}, new ProxyDataProvider(memoryRow));
  const OID entry = kHrStorage + OID{3, 1};
  addColumnarLeaf(entry + 1, new DataNumPacker(dataMember(&StorageData::index), kInteger), storage);
  addColumnarLeaf(entry + 2, new DataOIDPacker(dataMember(&StorageData::type), kObjectId), storage);
  addColumnarLeaf(entry + 3,
                  new DataStringPacker(dataMember(&StorageData::description), kOctetString, 0),
                  storage);
  addColumnarLeaf(entry + 4, new ConstNumPacker(kAllocationUnit, kInteger), storage);
  addColumnarLeaf(entry + 5, new DataNumPacker(dataMember(&StorageData::size), kInteger), storage);
  addColumnarLeaf(entry + 6, new DataNumPacker(dataMember(&StorageData::used), kInteger), storage);
  addColumnarLeaf(entry + 7, new ConstNumPacker(0, kCounter32), storage);

  // One processor, listed both as a device and as a processor.
  auto* processor = new ProxyDataProvider(processorRow);
  auto* devices = new StaticMuxTable();
  devices->addProvider(OID{kProcessorRowIndex}, processor);
  auto* processors = new StaticMuxTable();
  processors->addProvider(OID{kProcessorRowIndex}, processor);
  addColumnarLeaf(kHrDevice + OID{2, 1, 1},
                  new DataNumPacker(dataMember(&ProcessorData::index), kInteger), devices);
  addColumnarLeaf(kHrDevice + OID{2, 1, 2},
                  new DataOIDPacker(dataMember(&ProcessorData::type), kObjectId), devices);
  addColumnarLeaf(kHrDevice + OID{3, 1, 2},
                  new DataNumPacker(dataMember(&ProcessorData::load), kInteger), processors);
}

void buildSoftwareAndControl() {
  auto* software = settingsProvider(SoftwareInfoData::build, kSoftwarePath);
  const OID group = kEnterpriseGroups + 4;
  addScalarLeaf(group + 1,
                new DataStringPacker(dataMember(&SoftwareInfoData::text), kOctetString, 0),
                software);
  addScalarLeaf(group + 2, new DataRawPacker(dataMember(&SoftwareInfoData::date), kOctetString, 0),
                software);
  addScalarLeaf(group + 3,
                new DataNumPacker(dataMember(&SoftwareInfoData::versionNumber), kInteger),
                software);
  addScalarConstStringLeaf(group + 4, getOSVersion(), kOctetString);
  addScalarLeaf(group + 5, new DataNumPacker(dataMember(&SoftwareInfoData::variant), kInteger),
                software);

  auto* control = settingsProvider(TheSystem::build, kResourcePath);
  auto* reboot = new DataNumPacker(dataMember(&TheSystem::reboot), kInteger);
  // Registered twice on purpose: the second leaf replaces the first and
  // serves exactly the same.
  addScalarLeaf(kEnterpriseGroups + OID{7, 1}, reboot, control);
  addScalarLeaf(kEnterpriseGroups + OID{7, 1}, reboot, control);
}

void buildScriptTable() {
  auto* provider = new GetAllProvider();
  provider->addSource(Script::build, kScriptPath);
  auto* table = new MapTable(provider);
  table->addIndex(new DataNumPacker(dataMember(&Script::id), kInteger));
  const OID entry = kEnterpriseGroups + OID{8, 1, 1};
  addColumnarLeaf(entry + 2, new DataStringPacker(dataMember(&Script::name), kOctetString, 0),
                  table);
  addColumnarLeaf(entry + 3, new DataNumPacker(dataMember(&Script::run), kInteger), table);
}

void buildAddressTable() {
  auto* provider = new GetAllProvider();
  provider->addSource(AddressData::build, kAddressPath);
  auto* table = new MapTable(provider);
  table->addIndex(new DataNumPacker(dataMember(&AddressData::id), kInteger));
  const OID entry = kEnterpriseGroups + OID{11, 1, 1};
  addColumnarLeaf(entry + 2, new DataIPPacker(dataMember(&AddressData::address), kIpAddress),
                  table);
  addColumnarLeaf(entry + 3,
                  new DataRawPacker(dataMember(&AddressData::hardwareAddress), kOctetString, 0),
                  table);
  addColumnarLeaf(entry + 4,
                  new DataStringPacker(dataMember(&AddressData::hostName), kOctetString, 0), table);
  addColumnarLeaf(entry + 5,
                  new DataStringPacker(dataMember(&AddressData::clientId), kOctetString, 0), table);
  addColumnarLeaf(entry + 6,
                  new DataStringPacker(dataMember(&AddressData::server), kOctetString, 0), table);
  addColumnarLeaf(entry + 7,
                  new DataStringPacker(dataMember(&AddressData::status), kOctetString, 0), table);
}

}  // namespace

void buildSystemMib(ConfigInfoProvider::Source settings) {
  auto* resources = settingsProvider(ResourceData::build, kResourcePath);
  resourceProvider = resources;
  auto* identity = settingsProvider(Ident::build, kIdentityPath);
  buildSystemGroup(resources, identity, settings);
  buildHostResources(resources);
  buildSoftwareAndControl();
  buildScriptTable();
  buildAddressTable();
}
