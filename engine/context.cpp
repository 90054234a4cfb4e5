#include "engine/context.h"

uint32_t Context::v3counters[Context::kV3ReportKinds] = {};

Context::Context(unsigned char* data, unsigned len) : in(data, len) {}
