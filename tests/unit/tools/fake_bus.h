// A scripted bus for kxctl's tests: records every request and answers with
// a function of it.
#ifndef TESTS_UNIT_TOOLS_FAKE_BUS_H_
#define TESTS_UNIT_TOOLS_FAKE_BUS_H_

#include <functional>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "kx/message.h"
#include "tools/app.h"
#include "tools/bus_client.h"

namespace kxctl {

class FakeBus : public BusClient {
 public:
  std::function<kx::message(const kx::message&)> serve = [](const kx::message&) {
    return kx::message();
  };
  std::vector<kx::message> sent;
  int made = 0;  // how many clients the factory handed out

  kx::message exchange(kx::message& msg) override {
    sent.push_back(msg);
    return serve(msg);
  }

  // A factory whose clients forward to this fake.
  Session::BusFactory factory() {
    return [this](const Options&) -> std::unique_ptr<BusClient> {
      ++made;
      return std::make_unique<Forward>(*this);
    };
  }

 private:
  struct Forward : BusClient {
    explicit Forward(FakeBus& b) : bus(b) {}
    kx::message exchange(kx::message& msg) override { return bus.exchange(msg); }
    FakeBus& bus;
  };
};

// One kxctl run against a fake bus, with its captured output.
struct Outcome {
  int status;
  std::string out;
  std::string err;
};

inline Outcome runKxctl(FakeBus& bus, const std::vector<std::string>& args) {
  App app(bus.factory());
  std::ostringstream out, err;
  int status = app.run(args, out, err);
  return {status, out.str(), err.str()};
}

}  // namespace kxctl

#endif  // TESTS_UNIT_TOOLS_FAKE_BUS_H_
