// Locations inside a scenario file, and the error that names one.
//
// A location reads like the document it points into:
//   services."20,0".list[3]."0x08010001"
// Lower-case words (the scenario's own keywords) are written bare; every
// other key (service paths, typed keys) is quoted so that it cannot be
// mistaken for a keyword.
#ifndef SIM_JSON_PATH_H_
#define SIM_JSON_PATH_H_

#include <cstddef>
#include <stdexcept>
#include <string>

namespace sim {

class JsonPath {
 public:
  JsonPath() = default;
  // The location of member k of the object at this location.
  JsonPath key(const std::string& k) const;
  // The location of element i of the array at this location.
  JsonPath index(size_t i) const;
  // "" for the document itself.
  const std::string& text() const { return text_; }

 private:
  std::string text_;
};

// Thrown by the scenario readers; caught and turned into one message by
// loadScenario, so it never leaves the library.
class ScenarioError : public std::runtime_error {
 public:
  ScenarioError(const JsonPath& at, const std::string& problem);
  const std::string& where() const { return where_; }
  const std::string& problem() const { return problem_; }

 private:
  std::string where_;
  std::string problem_;
};

}  // namespace sim

#endif  // SIM_JSON_PATH_H_
