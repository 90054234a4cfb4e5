#include "bench/walk/subtree_walker.h"

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <vector>

#include "bench/load/load_window.h"
#include "bench/load/peer_process.h"
#include "bench/load/snmp_wire.h"

namespace bench {

namespace {

constexpr int32_t kNoSuchName = 2;
constexpr uint8_t kEndOfMibView = 0x82;
constexpr size_t kDatagramMax = 65536;

bool startsWith(const Arcs& name, const Arcs& prefix) {
  return name.size() >= prefix.size() && std::equal(prefix.begin(), prefix.end(), name.begin());
}

// Sends request and waits for the reply carrying its id, resending after
// each time-out.  False when every try timed out or the socket failed.
bool exchange(int fd, const RequestTemplate& request, uint32_t id, std::vector<uint8_t>* buf,
              size_t* len, Reply* reply, uint64_t* resent) {
  for (int attempt = 0; attempt < kWalkTries; ++attempt) {
    if (attempt) ++*resent;
    if (::send(fd, request.bytes().data(), request.bytes().size(), 0) < 0) return false;
    const Clock::time_point deadline = Clock::now() + kWalkReplyTimeout;
    for (;;) {
      const auto left =
          std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
      if (left.count() <= 0) break;
      pollfd p{fd, POLLIN, 0};
      if (::poll(&p, 1, static_cast<int>(left.count())) <= 0) continue;
      const ssize_t n = ::recv(fd, buf->data(), buf->size(), MSG_DONTWAIT);
      if (n < 0) continue;  // refused or interrupted: wait out the time-out
      // A stale reply to an earlier try of an earlier request is skipped.
      if (readReply(buf->data(), static_cast<size_t>(n), reply) && reply->requestId == id) {
        *len = static_cast<size_t>(n);
        return true;
      }
    }
  }
  return false;
}

}  // namespace

bool walkSubtree(uint16_t port, const std::string& community, const std::string& root,
                 const volatile int* stop, WalkResult* result) {
  *result = WalkResult();
  Arcs rootArcs, firstColumn;
  std::vector<uint8_t> name;
  if (!parseOid(root, &rootArcs) || !encodeOid(rootArcs, &name)) {
    result->error = "not an object identifier: " + root;
    return false;
  }
  firstColumn = rootArcs;
  firstColumn.insert(firstColumn.end(), {1, 1});
  const int fd = connectUdp(port);
  if (fd < 0) {
    result->error = "no socket";
    return false;
  }
  std::vector<uint8_t> buf(kDatagramMax);
  Arcs previous = rootArcs;
  RequestTemplate request;
  uint32_t id = kMinRequestId;
  const Clock::time_point start = Clock::now();
  for (;;) {
    if (stop && *stop) {
      result->error = "interrupted";
      break;
    }
    request.build(kGetNextRequest, community, name);
    request.setRequestId(++id);
    size_t len = 0;
    Reply reply;
    if (!exchange(fd, request, id, &buf, &len, &reply, &result->resent)) {
      result->error = "no reply after " + oidText(previous);
      break;
    }
    if (reply.errorStatus == kNoSuchName || reply.valueTag == kEndOfMibView) break;
    if (reply.errorStatus != 0) {
      result->error =
          "error status " + std::to_string(reply.errorStatus) + " after " + oidText(previous);
      break;
    }
    Arcs next;
    if (!decodeOid(reply.oid, reply.oidLen, &next)) {
      result->error = "unreadable name after " + oidText(previous);
      break;
    }
    if (!startsWith(next, rootArcs)) break;
    if (!std::lexicographical_compare(previous.begin(), previous.end(), next.begin(), next.end())) {
      result->error = "name " + oidText(next) + " does not increase after " + oidText(previous);
      break;
    }
    if (++result->bindings > kMaxWalkBindings) {
      result->error = "more than " + std::to_string(kMaxWalkBindings) + " bindings";
      break;
    }
    if (startsWith(next, firstColumn)) ++result->rows;
    name.assign(reply.oid, reply.oid + reply.oidLen);
    previous = std::move(next);
  }
  result->seconds = std::chrono::duration<double>(Clock::now() - start).count();
  ::close(fd);
  return result->error.empty();
}

}  // namespace bench
