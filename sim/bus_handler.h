// The kx::Handler face of a served handler: every command slot hands the
// request to a Responder, and change events show the service's objects.
#ifndef SIM_BUS_HANDLER_H_
#define SIM_BUS_HANDLER_H_

#include <cstdint>

#include "kx/handler.h"
#include "sim/responder.h"

namespace sim {

class BusHandler : public kx::Handler {
 public:
  // responder must outlive the handler; its service's change events are
  // announced to this handler's subscribers when events is non-zero.
  BusHandler(Responder& responder, uint32_t events);

  kx::message cmdGet(const kx::message& msg) override;
  kx::message cmdSet(const kx::message& msg) override;
  kx::message cmdGetObj(const kx::message& msg, uint32_t id) override;
  kx::message cmdSetObj(const kx::message& msg, uint32_t id) override;
  kx::message cmdGetAll(const kx::message& msg, uint32_t start, uint32_t count) override;
  kx::message cmdAddObj(const kx::message& msg) override;
  kx::message cmdRemoveObj(const kx::message& msg, uint32_t id) override;
  kx::message cmdGetCount(const kx::message& msg) override;
  kx::message cmdUnknown(const kx::message& msg, uint32_t code) override;
  kx::message getObject(uint32_t id) override;

 private:
  Responder& responder_;
};

}  // namespace sim

#endif  // SIM_BUS_HANDLER_H_
