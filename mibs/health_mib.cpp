#include "mibs/health_mib.h"

#include <vector>

#include "asn1/ber.h"
#include "asn1/oid.h"
#include "data/data_member.h"
#include "data/get_provider.h"
#include "data/num_packer.h"
#include "data/string_packer.h"
#include "engine/leafs.h"
#include "kx/message.h"
#include "mibs/health_records.h"

namespace {

using ber::kInteger;
using ber::kOctetString;

const std::vector<unsigned int> kHealthPath = {12, 1};
const OID kHealth = {1, 3, 6, 1, 4, 1, 32473, 1, 1, 3};

}  // namespace

void buildHealthMib() {
  auto* health = new GetProvider(HealthData::build, kHealthPath, kx::kCmdGet, kx::kCmdSet);
  addScalarLeaf(kHealth + 8, new DataNumPacker(dataMember(&HealthData::value), kInteger), health);
  addScalarLeaf(kHealth + 9,
                new DataStringPacker(dataMember(&HealthData::powerSource), kOctetString, 0),
                health);
  addScalarLeaf(kHealth + 10, new DataNumPacker(dataMember(&HealthData::temperature), kInteger),
                health);
}
