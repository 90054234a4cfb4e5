#include "sim/bus_handler.h"

namespace sim {

BusHandler::BusHandler(Responder& responder, uint32_t events) : responder_(responder) {
  if (events) {
    responder_.endpoint().service().onChange(
        [this](uint32_t id, const kx::message& cause) { notifyChange(id, cause); });
  }
}

kx::message BusHandler::cmdGet(const kx::message& msg) { return responder_.respond(msg); }
kx::message BusHandler::cmdSet(const kx::message& msg) { return responder_.respond(msg); }
kx::message BusHandler::cmdGetObj(const kx::message& msg, uint32_t) {
  return responder_.respond(msg);
}
kx::message BusHandler::cmdSetObj(const kx::message& msg, uint32_t) {
  return responder_.respond(msg);
}
kx::message BusHandler::cmdGetAll(const kx::message& msg, uint32_t, uint32_t) {
  return responder_.respond(msg);
}
kx::message BusHandler::cmdAddObj(const kx::message& msg) { return responder_.respond(msg); }
kx::message BusHandler::cmdRemoveObj(const kx::message& msg, uint32_t) {
  return responder_.respond(msg);
}
kx::message BusHandler::cmdGetCount(const kx::message& msg) { return responder_.respond(msg); }
kx::message BusHandler::cmdUnknown(const kx::message& msg, uint32_t) {
  return responder_.respond(msg);
}
kx::message BusHandler::getObject(uint32_t id) {
  return responder_.endpoint().service().object(id);
}

}  // namespace sim
