// Rows of the enterprise script table and address table, one per object of
// the services' lists.  Both are indexed by the object's bus id.
//
// build appends one new record to out (which owns it afterwards); it never
// leaves an object out.
#ifndef MIBS_SYSTEM_LIST_RECORDS_H_
#define MIBS_SYSTEM_LIST_RECORDS_H_

#include <string>
#include <vector>

#include "engine/data.h"
#include "kx/message.h"

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

#endif  // MIBS_SYSTEM_LIST_RECORDS_H_
