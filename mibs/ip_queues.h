// Records of the two enterprise queue tables (1.3.6.1.4.1.32473.1.1.2.1
// and .2.2): the queue list [20, 9] and the queue tree [20, 12].
#ifndef MIBS_IP_QUEUES_H_
#define MIBS_IP_QUEUES_H_

#include <string>
#include <vector>

#include "engine/data.h"
#include "kx/message.h"

// One queue of the queue list.
class QueueData : public Data {
 public:
  int id = 0;
  std::string name;
  unsigned int address1 = 0;  // the first two targets of be32[] 0x69,
  unsigned int address2 = 0;  // both 0 when it holds fewer than two
  unsigned int address3 = 0;
  unsigned int address4 = 0;
  int value = 0;
  unsigned long long counter1 = 0;
  unsigned long long counter2 = 0;
  int counter3 = 0;
  int counter4 = 0;

  // Appends one record per object.
  static void build(kx::message const& object, std::vector<Data*>* out);
};

// One queue of the queue tree.
class QueueTreeData : public Data {
 public:
  int id = 0;
  std::string name;
  std::string firstText;  // first element of string[] 0xc, or empty
  int value = 0;
  int counterLow = 0;  // low 32 bits of counter64
  int counter = 0;
  unsigned long long counter64 = 0;

  // Appends one record per object.
  static void build(kx::message const& object, std::vector<Data*>* out);
};

#endif  // MIBS_IP_QUEUES_H_
