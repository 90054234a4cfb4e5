// ReplyQueue: the requests of one wake-up of the service socket, each in a
// context of its own, and their replies until they are sent.
//
// The receive path reads a request into slot() (recvmsg with header()),
// answers it in the slot's context and, when there is a reply, push()es
// it.  flush() sends every pushed reply with one sendmmsg, in the order
// they were pushed, each to the address its request came from and from the
// local address it arrived on (the received IP_PKTINFO record goes back
// with it).  The contexts are kept from one wake-up to the next, so a
// request's names and reply reuse storage instead of allocating.
//
// Single-threaded, like the receive path.
#ifndef AGENT_REPLY_QUEUE_H_
#define AGENT_REPLY_QUEUE_H_

#include <netinet/in.h>
#include <sys/socket.h>

#include <cstddef>
#include <memory>

#include "engine/context.h"

class ReplyQueue {
 public:
  // Requests held at most: the receive path serves no more per wake-up,
  // so that bus commands and timers wait for at most this many.
  static constexpr unsigned kCapacity = 32;

  ReplyQueue();
  ReplyQueue(const ReplyQueue&) = delete;
  ReplyQueue& operator=(const ReplyQueue&) = delete;
  ~ReplyQueue();

  // The context for the next request, and the header to receive it with:
  // the sender's address and the arrival address land in the slot, the
  // datagram in the len bytes at buf.  Valid until push() or flush().
  // REQUIRES: !full().
  Context& context();
  msghdr* header(unsigned char* buf, std::size_t len);
  // The sender's IPv4 address as received (network order in memory).
  uint32_t peer() const;

  // The current slot's context holds a reply: it is sent with the next
  // flush(), and the next slot becomes current.  A slot whose request gets
  // no reply is simply used again.  REQUIRES: !full().
  void push();
  bool full() const { return pushed_ == kCapacity; }
  // Replies pushed and not yet sent.
  unsigned waiting() const { return pushed_ - sent_; }

  // Sends the replies waiting, on fd.  A reply the socket refuses is
  // dropped, as a failed send always was; the rest still go.  The slots
  // stay taken, the current one included, so flush() may come while a
  // request is being answered (before the agent waits on the bus).
  void flush(int fd);
  // Starts a wake-up: every slot is free again.  REQUIRES: nothing waiting.
  void restart() { pushed_ = sent_ = 0; }

 private:
  struct Slot;
  Slot& current();

  std::unique_ptr<Slot> slots_[kCapacity];  // made when first needed
  mmsghdr messages_[kCapacity];
  unsigned pushed_ = 0;
  unsigned sent_ = 0;
};

#endif  // AGENT_REPLY_QUEUE_H_
