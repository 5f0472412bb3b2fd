#pragma once

#include <functional>

// Runs `once` over and over in a child process and kills the child `kills` times, each time at
// a random moment spread over a few of its rounds, however long a round takes on this machine
// today; `afterKill` then looks at what the kill left. A round that fails stops the child by
// itself, which fails the test.
void killAtRandomMoments(int kills, const std::function<bool()>& once,
                         const std::function<void(int kill)>& afterKill);
