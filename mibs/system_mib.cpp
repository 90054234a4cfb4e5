#include "mibs/system_mib.h"

#include <utility>
#include <vector>

#include "asn1/ber.h"
#include "asn1/oid.h"
#include "data/const_leaves.h"
#include "data/data_member.h"
#include "data/get_all_provider.h"
#include "data/get_provider.h"
#include "data/ip_packer.h"
#include "data/map_table.h"
#include "data/num_packer.h"
#include "data/oid_packer.h"
#include "data/proxy_data_provider.h"
#include "data/static_mux_table.h"
#include "data/string_packer.h"
#include "engine/leafs.h"
#include "kx/message.h"
#include "mibs/system_config_provider.h"
#include "mibs/system_host_rows.h"
#include "mibs/system_list_records.h"
#include "mibs/system_os_version.h"
#include "mibs/system_records.h"

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
  auto* config = new ConfigInfoProvider(std::move(settings));
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
  buildSystemGroup(resources, identity, std::move(settings));
  buildHostResources(resources);
  buildSoftwareAndControl();
  buildScriptTable();
  buildAddressTable();
}
