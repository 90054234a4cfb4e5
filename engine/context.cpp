#include "engine/context.h"

#include <new>

uint32_t Context::v3counters[Context::kV3ReportKinds] = {};

Context::Context(unsigned char* data, unsigned len) : in(data, len) {}

void Context::reset(unsigned char* data, unsigned len) {
  oid.clear();
  setPrefix.clear();
  setSuffix.clear();
  name.clear();
  community.clear();
  in.view(data, len);
  out.reset();
  error = 0;
  requestField1 = 0;
  requestField2 = 0;
  v3ReportKind = 0;
  droppedCommand = 0;
  v3Server = nullptr;
  // Views and numbers only: made anew in place.
  v3.~V3Info();
  new (&v3) V3Info();
}
