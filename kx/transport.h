// kx::Transport: the Unix-socket side of a Looper (internal).
//
// Each listened service id has a SOCK_SEQPACKET socket <root>/sarn/run/bus/<id>
// (mode 0660).  Outgoing requests use one cached connection per destination
// service; replies come back on the connection the request went out on,
// matched by request id.  Events from a service a handler subscribed to
// arrive on that same outgoing connection, so every connection, accepted or
// outgoing, is read and dispatched.
//
// Messages to a service this looper listens for never touch a socket: an
// exchange calls the handler directly, a one-way message is queued and
// dispatched from the loop.
//
// Single-threaded, like its Looper.  Failures are answered with an error
// reply or end the connection; each writes one "kx: " line on stderr.
#ifndef KX_TRANSPORT_H_
#define KX_TRANSPORT_H_

#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "kx/frame.h"
#include "kx/handler.h"
#include "kx/message.h"

namespace kx {

class Looper;

// One-way messages (replies to one-way sends, events, the replies
// themselves) must leave within this time or the connection is dropped.
// Every deadline of the transport is on its looper's clock (nowMs).
constexpr int kSendTimeoutMs = 2000;

// Connections a process accepts at most, over all its services.  Each may
// hold a message of up to kMaxMessageSize being put together, so the bound
// keeps a flood of clients from exhausting descriptors and memory; a
// newcomer beyond it closes the connection idle the longest.
constexpr size_t kMaxAcceptedConnections = 32;

class Transport {
 public:
  // looper is the owner; it outlives the transport.
  explicit Transport(Looper& looper);
  // Closes every connection and listening socket and removes the socket
  // files this process created.
  ~Transport();
  Transport(const Transport&) = delete;
  Transport& operator=(const Transport&) = delete;

  // Creates, binds and registers the socket of service.  A socket file
  // left by a dead process is replaced; one that a live process still
  // serves is not.  false (logged) on failure.
  bool listen(uint32_t service);
  // Serves service to this process's handlers only, without a socket.
  void serveInProcess(uint32_t service) { inProcess_.insert(service); }
  // True when requests for service are dispatched here: its socket is
  // listened on, or it is served in-process.
  bool listening(uint32_t service) const {
    return listeners_.count(service) != 0 || inProcess_.count(service) != 0;
  }
  // The socket file of service below the current root.
  static std::string socketPath(uint32_t service);
  // True when a live process listens at service's socket file.
  static bool served(uint32_t service);

  // Sends msg (request id and srcPath added) and waits at most timeoutMs for
  // its reply.  Anything else that arrives on the connection meanwhile is
  // queued for dispatchQueued().  The reply is returned without the
  // transport's fields; failures are error replies.
  message exchange(message& msg, int timeoutMs, const std::vector<uint32_t>& srcPath);
  // One-way send to msg's destination; srcPath is set unless msg has a
  // sender path already.  quietIfAbsent: a missing service is not logged.
  // Returns false on failure.
  bool send(const message& msg, const std::vector<uint32_t>& srcPath, bool quietIfAbsent = false);
  // One-way send on a given connection (a subscriber's); -1 = in-process.
  // A failed connection is dropped.
  bool sendOn(int connection, const message& msg);

  // Dispatches the messages queued during exchanges and in-process one-way
  // sends, oldest first.  Does nothing while an exchange waits.
  void dispatchQueued();
  bool hasQueued() const { return !queue_.empty(); }

  uint64_t exchangesSent() const { return exchangesSent_; }

 private:
  struct Connection {
    int fd;
    uint64_t serial;   // tells this connection from a later one on the same fd
    bool outgoing;     // we connected (to service) rather than accepted
    uint32_t service;  // outgoing: the peer's; accepted: the listened one
    FrameAssembler assembler;
    uint64_t lastUsed = 0;  // useClock_ when a packet last came or went
  };
  struct Listener {
    int fd;
    std::string path;
    int pid;  // only the creating process removes the file
  };
  struct Incoming {
    int fd;  // -1 = in-process
    uint64_t serial;
    message msg;
  };
  // The exchange waiting for its reply, if any.
  struct Wait {
    int fd;
    uint64_t serial;
    uint32_t requestId;
    bool done = false;
    bool gone = false;
    bool bad = false;
    message reply;
  };

  Connection* find(int fd, uint64_t serial);
  Connection* outgoing(uint32_t service, int* err);
  // Sends bytes to service on its cached connection, opened when there is
  // none, and once more on a new one when the cached connection outlived
  // the service's previous process.  Returns the connection used, or null:
  // *err is errno when no connection could be opened, else *status says
  // why the send failed (the connection is closed then).
  const Connection* sendTo(uint32_t service, const std::string& bytes, uint64_t deadlineMs,
                           SendStatus* status, int* err);
  void watchListener(int fd, uint32_t service);
  static std::string pauseKey(uint32_t service);
  void onAccept(int listenFd, uint32_t service);
  // Makes room for one more accepted connection by closing the one idle
  // the longest: one with no message half received and no subscriptions
  // if there is such, else any.
  void closeIdlest();
  bool hasSubscriptions(int fd) const;
  // Queues a message for dispatchQueued; false (logged) when the queue is full.
  bool enqueue(Incoming in);
  void onReadable(int fd, uint64_t serial, int revents);
  // Reads the packets waiting on a connection (at most maxPackets); returns
  // false when the connection was closed.
  bool readPackets(int fd, uint64_t serial, int maxPackets);
  void onMessage(int fd, uint64_t serial, message&& msg);
  void dispatch(Incoming in);
  message localExchange(message msg);
  void closeConnection(int fd);
  bool writeMessage(Connection& c, const message& msg, uint64_t deadlineMs);
  std::string describe(const Connection& c) const;

  Looper& looper_;
  std::map<uint32_t, Listener> listeners_;
  std::set<uint32_t> inProcess_;
  std::map<int, Connection> conns_;
  std::map<uint32_t, int> outgoing_;  // service -> fd
  std::deque<Incoming> queue_;
  Wait* wait_ = nullptr;
  bool dispatching_ = false;
  uint64_t nextSerial_ = 0;
  uint64_t useClock_ = 0;
  size_t accepted_ = 0;
  uint32_t nextRequestId_ = 0;
  uint64_t exchangesSent_ = 0;
  // One received packet.  Left uninitialised: only the bytes a receive
  // writes are ever read, and untouched pages cost no memory.
  std::unique_ptr<uint8_t[]> rx_;
};

// "[20,0]": a path as it appears in log lines.
std::string pathText(const std::vector<uint32_t>& path);

}  // namespace kx

#endif  // KX_TRANSPORT_H_
