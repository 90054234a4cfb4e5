// RequestBatch: the requests read from the service socket in one wake-up,
// each in a slot of its own, and their replies until they are sent.
//
// receive() reads every datagram waiting (recvmmsg) into the slots after
// those already taken; the receive path answers each slot's request in
// arrival order in the slot's context and queues the reply with reply().
// flush() sends the queued replies with one sendmmsg, in the order they
// were queued, each to the address its request came from and from the
// local address it arrived on (the received IP_PKTINFO record goes back
// with it).
//
// Memory: a slot receives into its share of the receive buffer it is given
// (one page holds two slots), which every request of the usual size fits;
// a larger datagram runs on into the slot's own 64 KiB of an address range
// that is reserved but only backed while such a datagram is being
// answered.  The contexts are kept from one wake-up to the next, so a
// request's names and reply reuse their storage instead of allocating.
//
// Single-threaded, like the receive path.
#ifndef AGENT_REQUEST_BATCH_H_
#define AGENT_REQUEST_BATCH_H_

#include <netinet/in.h>
#include <sys/socket.h>

#include <cstddef>
#include <cstdint>
#include <memory>

class Context;

class RequestBatch {
 public:
  // Datagrams answered per wake-up at most, so that bus commands and
  // timers wait for no more.
  static constexpr unsigned kCapacity = 32;
  // The largest datagram read whole (the largest UDP payload is smaller).
  static constexpr std::size_t kMaxDatagram = 0x10000;

  // buffer: where the slots receive, len bytes (at least a few hundred per
  // slot); not owned, kept for the batch's life.
  RequestBatch(unsigned char* buffer, std::size_t len);
  RequestBatch(const RequestBatch&) = delete;
  RequestBatch& operator=(const RequestBatch&) = delete;
  ~RequestBatch();

  // Starts a wake-up: every slot is free.  REQUIRES: no reply waiting.
  void restart();
  // Reads the datagrams waiting on fd, at most max and no more than the
  // free slots; returns how many (0 when none, or on an error).  Each
  // taken slot's context holds its request (see request()).
  unsigned receive(int fd, unsigned max);
  // Slots taken this wake-up.
  unsigned taken() const { return taken_; }

  // Slot i's context, reset over its request's bytes; the sender's IPv4
  // address (network order in memory).  REQUIRES: i < taken().
  Context& request(unsigned i);
  uint32_t peer(unsigned i) const;
  // Slot i's request has been answered: its context's reply (if it has
  // one, say so) goes out with the next flush(), and any memory its
  // datagram needed beyond its share of the buffer is given back.
  void done(unsigned i, bool hasReply);

  // Replies queued and not yet sent.
  unsigned waiting() const { return queued_ - sent_; }
  // Sends the replies waiting, on fd.  A reply the socket refuses is
  // dropped, as a failed send always was; the rest still go.  Taken slots
  // stay taken, so flush() may come while a request is being answered
  // (before the agent waits on the bus).
  void flush(int fd);

 private:
  // Where slot i receives: the sender's address, the arrival address, the
  // datagram's pieces; and its reply's one piece.
  struct Header {
    sockaddr_in peer;
    alignas(cmsghdr) unsigned char control[CMSG_SPACE(sizeof(in_pktinfo))];
    iovec in[2];  // its share of the buffer, then its overflow range
    iovec out;
    std::size_t length;
    bool overflowed;  // the datagram lies in the overflow range
  };
  // Makes slot i's receive header whole again (a receive rewrites parts).
  void prepare(unsigned i);

  unsigned char* buffer_;
  std::size_t slotBytes_;    // each slot's share of buffer_
  unsigned char* overflow_;  // kCapacity * kMaxDatagram bytes, reserved
  Header headers_[kCapacity];
  std::unique_ptr<Context> contexts_[kCapacity];  // made when first needed
  mmsghdr received_[kCapacity];
  mmsghdr replies_[kCapacity];
  unsigned taken_ = 0;
  unsigned queued_ = 0;
  unsigned sent_ = 0;
};

#endif  // AGENT_REQUEST_BATCH_H_
