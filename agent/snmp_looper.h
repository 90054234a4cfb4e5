// SnmpLooper: the agent's event loop, settings object and UDP service.
//
// One instance per process.  It is the bus looper of the agent's service
// (34): its own command slots serve the agent settings (get/set record,
// generator listing, trap requests), and it registers the community keeper
// as handler 1.  It also owns the UDP socket on which SNMP requests arrive
// and answers them through createReply.  Everything runs on the thread that
// calls run(); nothing here is thread-safe.
#ifndef AGENT_SNMP_LOOPER_H_
#define AGENT_SNMP_LOOPER_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "agent/bulk_hint.h"
#include "agent/request_batch.h"
#include "kx/looper.h"
#include "kx/message.h"
#include "kx/snmp_keys.h"
#include "kx/store.h"
#include "traps/create_trap.h"
#include "usm/v3_info.h"

// Its bus keys, store paths and first-start values are those of
// kx/snmp_keys.h.  The looper is also the local v3 engine (V3ServerInfo): its boots, start
// uptime, time window and formatted engine ID are the base's fields, and
// the receive path hands the looper itself to every request.
class SnmpLooper : public kx::Looper, public V3ServerInfo {
 public:
  static constexpr uint16_t kDefaultServicePort = 161;
  static constexpr uint16_t kDefaultTrapPort = 162;
  // Idle time after which a disabled agent's loop may leave.
  static constexpr unsigned kIdleLeaveMs = 1000;

  // Creates the community keeper (published as `communityKeep`, loaded from
  // its store, registered as handler 1) and publishes this looper as
  // `snmpLooper`.  Settings are not read until init().
  SnmpLooper();
  // Closes the service socket and deletes the community keeper.
  ~SnmpLooper() override;

  // Loads the settings from the store.  With a stored settings object it
  // bumps engineBoots, writes the settings back at once and then prints
  // "engineBoots = N" on standard output; without one the constructor's
  // defaults stay and nothing is written.  Then enables the service if it
  // is wanted, or lets the loop leave after kIdleLeaveMs idle.
  void init();

  // Opens, binds and registers the UDP service socket on servicePort.  No
  // effect when already enabled.  On failure logs "cannot create service
  // connection" and stays disabled.
  void enable();
  // Unregisters and closes the socket and lets the loop leave when idle.
  // No effect when not enabled.
  void disable();

  // Socket callback: answers the datagrams waiting on the service socket,
  // at most RequestBatch::kCapacity of them, in arrival order, and sends
  // the replies, each from the local address its request arrived on.
  void receive(int fd, int events);
  // One-shot timer armed at start: when trapGenerators holds the start-up
  // generator, sends the start-up trap (warmStart) through send_trap with
  // startupTrapMaker standing last in trapMakers for that one trap.
  void startup();
  // Subscribes every trap subscriber whose index is in trapGenerators, in
  // list order; other ids (the start-up generator) are skipped.
  void startSubscribers();
  // Builds the trap for event and sends it to the trap target (see
  // sendTrap in traps/create_trap.h for what is sent and every line
  // written when nothing is).
  void send_trap(const kx::message& event);
  // The settings traps are built from, as they stand now.
  TrapSettings trapSettings() const;

  // The settings as one message (the bus record and the stored object).
  kx::message getConfig() const;
  // Writes getConfig() to the store; bootsRose: engineBoots went up since
  // the last write.
  void saveSettings(bool bootsRose);

  // Settings commands of the bus.
  kx::message cmdGet(const kx::message& msg) override;
  // Applies every field present, in a fixed order, then persists the whole
  // settings object.  Never refuses.  A trapGenerators field unsubscribes
  // every trap subscriber, then subscribes those it names, once each
  // ("unsubscribed from NAME", "subscribed to NAME" on standard output).
  kx::message cmdSet(const kx::message& msg) override;
  // Command 100 lists the trap generators: start-trap, then every
  // subscriber by index.  Commands 1, 0xfe000b and 0x10004 (an enterprise
  // trap request, a change event) are passed to send_trap.  Every code is
  // answered with an empty message but 100.
  kx::message cmdUnknown(const kx::message& msg, uint32_t code) override;
  // The settings, whatever the id.
  kx::message getObject(uint32_t id) override;

  // Sets the engine ID from its configured text (formatEngineID) and
  // regenerates every community's keys, which depend on it.
  void setEngineID(const std::string& text);

  kx::Store store;
  int sock = 0;
  bool enabled = false;
  // engineBoots, startUptime, timeWindow and engineID: see V3ServerInfo.
  std::string community;
  std::string contact;
  std::string location;
  std::string spare1;
  std::string spare2;
  uint32_t startJiffies = 0;
  uint32_t trapCommunity = snmp::kNoCommunity;
  uint32_t trapVersion = 0;
  // Network order in memory.
  uint32_t trapTarget = 0;
  std::vector<uint32_t> trapGenerators;
  bool enableSetting = false;

  // Where the service listens and where traps go; set before init() to
  // run without privileges.
  uint16_t servicePort = kDefaultServicePort;
  uint16_t trapPort = kDefaultTrapPort;

  // Explains dropped GetBulk requests in the log.
  BulkHint bulkHint;

 protected:
  // Sends the replies that are ready before the agent waits on the bus for
  // a later request's data.
  void beforeBlocking() override;

 private:
  RequestBatch batch_;
};

// The process's looper, set by its constructor; null before and after.
extern SnmpLooper* snmpLooper;

// Size of the receive buffer: the largest datagram the service reads.
constexpr size_t kReceiveBufferSize = 0x10000;
// The receive buffer: each of the requests read in one wake-up has its
// share of it (RequestBatch), and the next wake-up reads into it again.
extern unsigned char c_buf[kReceiveBufferSize];

// Plug-ins (plugin_loader.cpp): searches dir recursively for regular files
// whose names end in ".so" (at least 4 characters, not starting with "."),
// loads each with RTLD_NOW and calls its `autorun` entry point once.  A
// plug-in is never unloaded.  Every failure is one diagnostic on standard
// error and is skipped; a directory that can't be opened is skipped
// silently.  A failed stat of an entry ends the scan of that directory.
// Paths longer than kMaxPluginPathLength are refused, which stops endless
// recursion through symbolic-link loops.
constexpr size_t kMaxPluginPathLength = 128;
void loadPlugins(const std::string& dir);

#endif  // AGENT_SNMP_LOOPER_H_
