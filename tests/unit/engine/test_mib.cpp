#include "test_mib.h"

#include <gtest/gtest.h>

#include "engine/create_reply.h"

namespace engine_test {

namespace {

bool readBindings(InStream& in, Reply* reply) {
  while (!in.atSeqEnd()) {
    const bool wrapped = in.getType() == 0x30;
    if (wrapped && in.enterSeq() < 0) return false;
    OID name;
    std::string value;
    if (!in.getOID(&name)) return false;
    const int tag = in.getType();
    if (!in.getString(&value)) return false;
    if (wrapped) in.exitSeq();
    reply->bindings.push_back({name, {tag, value}});
  }
  return true;
}

}  // namespace

Outcome dispatch(std::vector<unsigned char> bytes, int peer) {
  Context ctx(bytes.data(), bytes.size());
  Outcome o;
  testing::internal::CaptureStderr();
  o.answered = createReply(ctx, peer);
  o.log = testing::internal::GetCapturedStderr();
  if (!o.answered) return o;
  o.bytes.assign(ctx.out.bytes().begin(), ctx.out.bytes().end());
  InStream in(o.bytes.data(), o.bytes.size());
  Reply& r = o.reply;
  r.version = in.getVersion();
  r.pduTag = (in.getString(&r.community), in.getType());
  const bool ok = in.enterSeq() >= 0 && in.getInt(&r.requestId) && in.getInt(&r.status) &&
                  in.getInt(&r.index) && in.enterSeq() >= 0 && readBindings(in, &r);
  EXPECT_TRUE(ok) << "reply does not decode";
  return o;
}

std::vector<std::pair<OID, std::pair<int, std::string>>> written(const Context& ctx) {
  InStream in(ctx.out.bytes().data(), ctx.out.bytes().size());
  Reply reply;
  EXPECT_TRUE(readBindings(in, &reply)) << "output does not decode";
  return reply.bindings;
}

std::string intContent(int v) {
  OutStream out;
  out.add(v, 2);
  return std::string(out.bytes().begin() + 2, out.bytes().end());
}

}  // namespace engine_test
