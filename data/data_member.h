// dataMember: a member of a module's record type as a member of Data.
//
// Packers address a field through a pointer-to-member of Data, so one packer
// class serves every record type.  A module writes
//   new DataNumPacker(dataMember(&IfRecord::mtu), 0x02)
// and the packer must only ever be given records of that type (the leaf's
// provider or table guarantees it).
#ifndef DATA_DATA_MEMBER_H_
#define DATA_DATA_MEMBER_H_

#include <type_traits>

#include "engine/data.h"

template <class Record, class Field>
Field Data::*dataMember(Field Record::*member) {
  static_assert(std::is_base_of<Data, Record>::value, "records derive from Data");
  return static_cast<Field Data::*>(member);
}

#endif  // DATA_DATA_MEMBER_H_
