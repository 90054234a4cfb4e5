// The interface kind of the platform (u32 0x10001 of an interface object)
// mapped to the ifType and ifSpeed the interfaces table shows.
#ifndef MIBS_INTERFACES_KIND_H_
#define MIBS_INTERFACES_KIND_H_

#include <cstdint>

// Kinds whose speed is not fixed by the kind alone.
constexpr uint32_t kKindEthernet = 1;  // speed from the interface's speed index
constexpr uint32_t kKindVlan = 30;     // speed index of the parent interface

// What a kind shows.  For Ethernet and VLAN interfaces speedFromIndex is
// set and speed is meaningless: the caller looks the speed index up.
struct InterfaceKindInfo {
  int ifType;
  int speed;
  bool speedFromIndex;
};

// Any kind, also one the platform does not define: unknown kinds are
// type 1 (other) at 10 Mbit/s.
InterfaceKindInfo interfaceKindInfo(uint32_t kind);

// The speed of an Ethernet speed index: 0 = 10 Mbit/s, 1 = 100 Mbit/s,
// 2 = 1 Gbit/s; any larger index gives 0.
int speedOfIndex(uint32_t index);

#endif  // MIBS_INTERFACES_KIND_H_
