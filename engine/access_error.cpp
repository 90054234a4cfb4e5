#include "engine/access_error.h"

#include "engine/context.h"
#include "engine/error_status.h"

void AccessError::apply(Context&) const {}

void PathNotExists::apply(Context& ctx) const {
  ctx.out.addErrorStatus(error_status::kNoSuchName);
  ctx.error = 1;
}

void InvalidOID::apply(Context& ctx) const { ctx.out.addErrorStatus(error_status::kGenErr); }

void MiscError::apply(Context& ctx) const { ctx.out.addErrorStatus(error_status::kGenErr); }
