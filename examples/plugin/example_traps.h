// The example plug-in's trap (example_traps.cpp).
#ifndef EXAMPLE_TRAPS_H_
#define EXAMPLE_TRAPS_H_

namespace example {

// Appends the trap subscriber "example-items"; call once from autorun().
void addTraps();

}  // namespace example

#endif  // EXAMPLE_TRAPS_H_
