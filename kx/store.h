// kx::Store: persistent messages by object id, one file per object.
//
// The directory is the platform path taken below the root (kx/paths.h).
// Every write is atomic (temporary file, fsync, rename, fsync of the
// directory): after a crash an object is either its old or its new
// version, never torn.  A damaged object file is reported once on standard
// error, renamed aside and skipped; it never stops the process.
#ifndef KX_STORE_H_
#define KX_STORE_H_

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "kx/message.h"

namespace kx {

class Store {
 public:
  // path: platform path, e.g. "/sarn/store/snmpd"; the directory is created
  // when missing.  version: recorded in each object file.
  Store(const std::string& path, unsigned version);

  // Directory actually used (with the root prefix).
  const std::string& dir() const { return dir_; }

  // Ids of the stored objects, ascending.
  std::vector<uint32_t> ids() const;
  bool has(uint32_t id) const;
  // Reads object id into out; false when absent or damaged.
  bool load(uint32_t id, message& out) const;
  // Every readable object, ascending by id.
  std::vector<std::pair<uint32_t, message>> loadAll() const;
  // Writes object id atomically; false on an I/O failure (logged).
  bool save(uint32_t id, const message& m);
  // Removes object id; true when it existed.
  bool remove(uint32_t id);

 private:
  std::string dir_;
  unsigned version_;
};

}  // namespace kx

#endif  // KX_STORE_H_
