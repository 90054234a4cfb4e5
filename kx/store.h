// kx::Store: persistent messages by object id, one file per object, and
// kx::Allocator, the ids of a store's objects.
//
// The directory is the platform path taken below the root (kx/platform.h).
// Every write is atomic (temporary file, fsync, rename, fsync of the
// directory): after a crash an object is either its old or its new
// version, never torn.  Each object file carries a checksum, and the
// version an object had before its last write is kept beside it (<id>.prev).
// A damaged object file is reported once on standard error and renamed
// aside; its previous version takes its place, or, when there is no usable
// one, the object is skipped.  Damage never stops the process.
#ifndef KX_STORE_H_
#define KX_STORE_H_

#include <cstdint>
#include <set>
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
  // Reads object id into out; false when absent, or damaged with no usable
  // previous version.  A damaged object that falls back to its previous
  // version is replaced by it on disk.
  bool load(uint32_t id, message& out) const;
  // Every readable object, ascending by id.
  std::vector<std::pair<uint32_t, message>> loadAll() const;
  // Writes object id atomically; the version it replaces, if readable,
  // becomes its previous version.  false on an I/O failure, logged with the
  // file and the system's reason.
  bool save(uint32_t id, const message& m);
  // Removes object id and its previous version; true when it existed.
  bool remove(uint32_t id);

 private:
  // Reads and decodes the object file at path.  false with err = errno
  // when it cannot be read, or with err = 0 and a reason in why when it is
  // damaged.
  bool read(const std::string& path, message& out, std::string& why, int& err) const;

  std::string dir_;
  unsigned version_;
};

// Object ids in [min, max].
class Allocator {
 public:
  static constexpr uint32_t kNone = 0xffffffff;
  // Ids from min to max inclusive (max = -2 gives 0xfffffffe).
  Allocator(uint32_t min, uint32_t max);
  // The lowest free id, now taken; kNone when all are taken.
  uint32_t alloc();
  // Takes id; false when it is out of range or already taken.
  bool reserve(uint32_t id);
  // Returns id; no effect when it was not taken.
  void free(uint32_t id);
  bool taken(uint32_t id) const;

 private:
  uint32_t min_, max_;
  std::set<uint32_t> taken_;
};

}  // namespace kx

#endif  // KX_STORE_H_
