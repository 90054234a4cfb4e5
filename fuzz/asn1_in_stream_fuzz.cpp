// Drives InStream over arbitrary bytes.  The first byte gives the number of
// script bytes that follow; each script byte picks one read, and the rest of
// the input is the message.  Every read must either fail without moving the
// cursor or succeed inside the data, and every value read must survive
// OutStream -> InStream unchanged (and an OID its text form).
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "asn1/in_stream.h"
#include "asn1/out_stream.h"

namespace {

constexpr std::size_t kMaxScript = 64;
constexpr unsigned int kReadCount = 12;

void check(bool ok) {
  if (!ok) std::abort();
}

InStream reread(const OutStream& out) {
  return InStream(out.bytes().data(), static_cast<unsigned int>(out.size()));
}

// Runs read number op; true when it succeeded.
bool runRead(InStream& in, unsigned int op) {
  OutStream out;
  switch (op) {
    case 0:
      return in.getType() >= 0;
    case 1:
      return in.getLen() >= 0;
    case 2:
      return in.enterSeq() >= 0;
    case 3:
      in.exitSeq();
      return false;
    case 4: {
      int v = 0;
      if (!in.getInt(&v)) return false;
      out.add(v, 0x02);
      int back = ~v;
      check(reread(out).getInt(&back) && back == v);
      return true;
    }
    case 5: {
      unsigned long long v = 0;
      if (!in.get64(&v)) return false;
      out.add(v, 0x46);
      unsigned long long back = ~v;
      // Eight octets at most on input: 2^63 and above can't come back.
      check(reread(out).get64(&back) == (v >> 63 == 0));
      check(v >> 63 != 0 || back == v);
      return true;
    }
    case 6: {
      std::string v;
      if (!in.getString(&v)) return false;
      out.add(v, 0x04);
      std::string back;
      check(reread(out).getString(&back) && back == v);
      return true;
    }
    case 7: {
      OID v;
      if (!in.getOID(&v)) return false;
      check(v.size() >= 2 && OID(v.str()) == v);
      if (v[0] <= 2 && v[1] < 40) {
        out.addOID(v, 0x06);
        OID back;
        check(reread(out).getOID(&back) && back == v);
      }
      return true;
    }
    case 8:
      return in.getNull();
    case 9: {
      std::vector<unsigned char> v;
      if (!in.getBits(&v)) return false;
      out.addBits(v.data(), static_cast<unsigned int>(v.size()), 0x03);
      std::vector<unsigned char> back;
      check(reread(out).getBits(&back) && back == v);
      return true;
    }
    case 10:
      in.getVersion();
      return false;
    default:
      in.reset();
      return false;
  }
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  // Every refused value logs a line on standard output; keep the run quiet.
  if (std::freopen("/dev/null", "w", stdout) == nullptr) std::abort();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  const std::size_t script = std::min<std::size_t>(data[0] % kMaxScript, size - 1);
  const uint8_t* ops = data + 1;
  const uint8_t* msg = ops + script;
  const std::size_t len = size - 1 - script;
  InStream in(msg, static_cast<unsigned int>(len));
  for (std::size_t i = 0; i < script; ++i) {
    const unsigned int op = ops[i] % kReadCount;
    const std::size_t before = in.position();
    const bool ok = runRead(in, op);
    check(in.position() <= in.size());
    // Only the reads that consume a value move the cursor, and only on
    // success (getType peeks).
    if (!ok && op != 3 && op != 10 && op != 11) check(in.position() == before);
    if (ok && op != 0) check(in.position() > before);
  }
  return 0;
}
