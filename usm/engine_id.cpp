#include "usm/engine_id.h"

std::string formatEngineID(const std::string& text) {
  return std::string(kEngineIdPrefix, kEngineIdPrefixLength) + text;
}

std::string deformatEngineID(const std::string& id) {
  return id.size() <= kEngineIdPrefixLength ? std::string() : id.substr(kEngineIdPrefixLength);
}
