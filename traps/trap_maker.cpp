#include "traps/trap_maker.h"

#include <algorithm>

std::vector<TrapMaker> trapMakers;

void addTrapMaker(TrapMaker maker) { trapMakers.push_back(maker); }

void removeTrapMaker(TrapMaker maker) {
  auto it = std::find(trapMakers.begin(), trapMakers.end(), maker);
  if (it != trapMakers.end()) trapMakers.erase(it);
}
