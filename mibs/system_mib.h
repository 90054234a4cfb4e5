// The system module: the system group, the host-resources groups hrSystem,
// hrStorage, hrDevice and hrProcessor, and the enterprise software,
// system-control, script and address groups; their records and providers.
#ifndef MIBS_SYSTEM_MIB_H_
#define MIBS_SYSTEM_MIB_H_

#include <cstdint>
#include <ctime>
#include <string>
#include <utility>
#include <vector>

#include "asn1/oid.h"
#include "engine/data.h"
#include "engine/data_provider.h"
#include "kx/message.h"

// Records of the system group, hrSystem and the enterprise software and
// system-control scalars.  Each is built from one service's settings record
// by its static build (the providers' conversion callback), which never
// fails: a missing u32 reads as 0, a missing string as "".
//
// The caller of build owns the record it returns.

// Length of a DateAndTime without, and with, its UTC-offset part.
constexpr size_t kLocalDateLength = 8;
constexpr size_t kZonedDateLength = 11;

// The first eight octets of a DateAndTime (year high, year low, month,
// day, hour, minute, second, deci-seconds 0) of t in local time (the
// process's time zone).  Eight zero octets when t cannot be broken down.
std::vector<unsigned char> localDateBytes(std::time_t t);

// Uptime, memory, disk and load of the router (service path [24, 2]).
class ResourceData : public Data {
 public:
  // Seconds of u32 0x1 times 100, in 32-bit arithmetic.  The "used"
  // values are total minus free in unsigned 32-bit arithmetic: a free
  // value above the total wraps (kept as the router reports it).
  static Data* build(const kx::message& msg);

  int uptime = 0;  // hundredths of a second
  int memoryTotal = 0;
  int memoryUsed = 0;
  int diskTotal = 0;
  int diskUsed = 0;
  int processorLoad = 0;
};

// The router's clock (service path [24, 0]) as an 11-octet DateAndTime.
class DateData : public Data {
 public:
  // u32 0x7: seconds since the epoch, shown in local time; u32 0x1b: the
  // offset from UTC in seconds, read as signed.
  static Data* build(const kx::message& msg);

  std::vector<unsigned char> date;
};

// The router's name (service path [24, 1]); sysName.
class Ident : public Data {
 public:
  static Data* build(const kx::message& msg);
  // Logs "Ident::reverseBuild" and adds the name as string 0xc.
  void reverseBuild(kx::message& msg) override;

  std::string name;
};

// The reboot control.  Reads 0 whatever the service holds.
class TheSystem : public Data {
 public:
  // Logs "TheSystem::build"; the reply's contents are not read.
  static Data* build(const kx::message& msg);
  // Logs "TheSystem::reverseBuild".  A non-zero request logs
  // "TheSystem::REBOOT" and sends the reboot command (5 to path [24])
  // itself, waiting for the answer; msg gets nothing either way, so the
  // ordinary set that follows carries no fields.
  void reverseBuild(kx::message& msg) override;

  int reboot = 0;
};

// The installed software (service path [65]).
class SoftwareInfoData : public Data {
 public:
  // The date is always that of the fixed time 67 (a minute past midnight
  // UTC on the first day of 1970), in local time: the service reports no
  // date of its own.
  static Data* build(const kx::message& msg);

  std::string text;                 // string 0x1
  std::vector<unsigned char> date;  // 8 octets, no UTC offset
  int versionNumber = 0;            // u32 0x4
  int variant = 0;                  // u32 0x9 plus one
};

// Rows of the enterprise script table and address table, one per object of
// the services' lists.  Both are indexed by the object's bus id.
//
// build appends one new record to out (which owns it afterwards); it never
// leaves an object out.

// A script of the router (service path [48, 101]).  Its name can be changed,
// and a SET of its run column to anything but 0 runs it.
class Script : public Data {
 public:
  // Logs "Script::build"; run always starts at 0.
  static void build(const kx::message& object, std::vector<Data*>* out);
  // Logs "Script::reverseBuild" and adds the id.  A non-zero run logs
  // "Run, FOREST, run!" and turns the message into the run command (1)
  // without the name; otherwise the name is added as string 0x66.
  void reverseBuild(kx::message& msg) override;

  int id = 0;
  int run = 0;
  std::string name;
};

// An address the router handed out (service path [10, 1]).  Read-only: its
// writes carry nothing but the command.
class AddressData : public Data {
 public:
  static void build(const kx::message& object, std::vector<Data*>* out);

  int id = 0;
  unsigned int address = 0;  // network order in memory
  std::vector<unsigned char> hardwareAddress;
  std::string hostName;  // string 0x7
  std::string clientId;  // string 0x8
  std::string server;    // string 0x6
  std::string status;    // string 0xb
};

// getOSVersion: the operating system's version text.

// The running kernel's release ("6.1.0-18-amd64"); "" when it cannot be
// read.
std::string getOSVersion();

// The fixed rows of hrStorageTable, hrDeviceTable and hrProcessorTable.
//
// The rows are process-wide records whose index, type and description are
// fixed; each read through its row function copies the current sizes or
// load from the resource record into the row.  The row functions are the
// ProxyDataProviders' functions: the rows stay owned here.
class DataProvider;

// One storage area: hrStorageEntry.
class StorageData : public Data {
 public:
  StorageData(int index, OID const& type, std::string const& description)
      : index(index), type(type), description(description) {}

  int index;
  OID type;
  std::string description;
  int size = 0;  // in the units the resource service reports
  int used = 0;
};

// The processor: hrDeviceEntry and hrProcessorEntry.
class ProcessorData : public Data {
 public:
  explicit ProcessorData(OID const& type) : type(type) {}

  int index = 0;
  int load = 0;
  OID type;
};

// Row indexes of the storage table.
constexpr unsigned int kDiskRowIndex = 1;
constexpr unsigned int kMemoryRowIndex = 2;
// Row index of the processor in the device and processor tables.
constexpr unsigned int kProcessorRowIndex = 1;

// The provider of the ResourceData record the rows are refreshed from.
// Set once by buildSystemMib (not owned); while it is null, or has no
// record, the rows keep the values they were last given.
extern DataProvider* resourceProvider;

// The disk row (index 1): disk total and used.
Data* diskRow();
// The main-memory row (index 2): memory total and used.  Typed as
// hrStorageOther, not as RAM, on purpose.
Data* memoryRow();
// The processor row (index 1): processor load.
Data* processorRow();

// ConfigInfoProvider: sysContact and sysLocation, read from the agent's own
// settings, whose two strings main hands over where they live.
//
// The provider is its own record: get() copies the two strings in (into
// storage kept from the last read) and returns this object.  The settings
// are changed over the bus, never through SNMP: set() always refuses.
class ConfigInfoProvider : public DataProvider, public Data {
 public:
  // Where the agent keeps the two settings (not owned; they outlive the
  // provider).
  struct Source {
    const std::string* contact;
    const std::string* location;
  };

  // REQUIRES: both pointers set.
  explicit ConfigInfoProvider(Source source) : source_(source) {}

  // Copies the agent's contact and location in; never null.
  Data* get() override;
  // Refuses: false.
  bool set(Data*) override { return false; }

  std::string contact;
  std::string location;

 private:
  Source source_;
};

// buildSystemMib: the system group, the host-resources groups hrSystem,
// hrStorage, hrDevice and hrProcessor, and the enterprise software,
// system-control, script and address groups.

// Registers every object of these groups in the MIB tree; sysContact and
// sysLocation are read from settings, where the agent keeps them.  Call
// once at start-up, before the first request.  Everything it allocates
// lives for the rest of the process.
void buildSystemMib(ConfigInfoProvider::Source settings);

#endif  // MIBS_SYSTEM_MIB_H_
