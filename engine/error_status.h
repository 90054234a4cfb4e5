// SNMP error-status values the engine produces.
#ifndef ENGINE_ERROR_STATUS_H_
#define ENGINE_ERROR_STATUS_H_

namespace error_status {

constexpr unsigned kNoError = 0;
// Every miss, in v1 and v2c alike: the v2 exception values are never sent.
constexpr unsigned kNoSuchName = 2;
// A SET through a community without write access.
constexpr unsigned kReadOnly = 4;
constexpr unsigned kGenErr = 5;

}  // namespace error_status

#endif  // ENGINE_ERROR_STATUS_H_
