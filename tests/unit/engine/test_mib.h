// The engine tests' requests and reply decoder, over the fake MIB.
#ifndef TESTS_UNIT_ENGINE_TEST_MIB_H_
#define TESTS_UNIT_ENGINE_TEST_MIB_H_

#include <string>
#include <utility>
#include <vector>

#include "engine/context.h"
#include "tests/unit/support/fake_mib.h"
#include "tests/unit/support/snmp_request.h"

namespace engine_test {

using namespace test_support;  // NOLINT: the fake MIB is these tests' subject matter

using snmp_request::Binding;

inline std::vector<unsigned char> request(int version, const std::string& community,
                                          unsigned pduTag, const std::vector<Binding>& bindings,
                                          int requestId = 77) {
  return snmp_request::communityRequest(version, community, pduTag, bindings, requestId);
}

struct Reply {
  int version = -1, pduTag = -1, requestId = -1, status = -1, index = -1;
  std::string community;
  // Name, value tag and value content of each binding.
  std::vector<std::pair<OID, std::pair<int, std::string>>> bindings;
};

// Runs createReply over a request from peer.  answered/bytes: the result;
// log: what went to standard error.
struct Outcome {
  bool answered = false;
  std::vector<unsigned char> bytes;
  std::string log;
  Reply reply;  // decoded when answered
};
Outcome dispatch(std::vector<unsigned char> bytes, int peer = ip(192, 0, 2, 7));

// Decodes name/value pairs written by an operation straight into ctx.out,
// each either bare or wrapped in a binding sequence.
std::vector<std::pair<OID, std::pair<int, std::string>>> written(const Context& ctx);

// INTEGER content octets of v.
std::string intContent(int v);

}  // namespace engine_test

#endif  // TESTS_UNIT_ENGINE_TEST_MIB_H_
