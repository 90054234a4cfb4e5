// A C++ plug-in that leans on the runtime it shares with the agent:
// exceptions thrown, caught, rethrown and carried in an exception_ptr,
// dynamic_cast and typeid on the agent's classes, a string stream; and the
// packers the example plug-in leaves out.  What it saw is served as
// constants under 1.3.6.1.4.1.32473.1.98 (see walks/router.walk).
#include <exception>
#include <sstream>
#include <stdexcept>
#include <string>
#include <typeinfo>

#include "asn1/oid.h"
#include "data/packers.h"
#include "engine/leafs.h"

namespace {

const OID kBase = {1, 3, 6, 1, 4, 1, 32473, 1, 98};

struct PluginError : std::logic_error {
  using std::logic_error::logic_error;
};

std::string exceptions() {
  std::string seen;
  try {
    throw std::runtime_error("thrown");
  } catch (const std::exception& e) {
    seen += e.what();
  }
  try {
    try {
      throw PluginError("rethrown");
    } catch (const std::logic_error&) {
      throw;
    }
  } catch (const PluginError& e) {
    seen += std::string(" ") + e.what();
  }
  std::exception_ptr kept;
  try {
    std::string().at(1);
  } catch (...) {
    kept = std::current_exception();
  }
  try {
    std::rethrow_exception(kept);
  } catch (const std::out_of_range&) {
    seen += " kept";
  }
  return seen;
}

std::string types() {
  Packer* packer = new ConstStringPacker("x", 0x04, 0);
  const bool cast = dynamic_cast<StringPacker*>(packer) != nullptr;
  const bool same = typeid(*packer) == typeid(ConstStringPacker);
  delete packer;
  std::ostringstream text;
  text << (cast && same ? "types" : "no types") << " " << kBase;
  return text.str();
}

}  // namespace

extern "C" void autorun() {
  addScalarConstStringLeaf(kBase + 1, exceptions(), 0x04);
  addScalarConstStringLeaf(kBase + 2, types(), 0x04);
  addScalarLeaf(kBase + 3, new ConstIPPacker(0x0100a8c0, 0x40), nullptr);
  addScalarLeaf(kBase + 4, new ConstBignumPacker(1ull << 40, 0x46), nullptr);
  addScalarConstOIDLeaf(kBase + 5, kBase, 0x06);
  addScalarConstNumLeaf(kBase + 6, -7, 0x02);
}
