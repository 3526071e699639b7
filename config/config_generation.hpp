// Generation of the robot configuration record (libalgo_interface.cpp):
// internal to the library, not exported.
#pragma once

#include <cstdint>

namespace tova {

// Changes whenever a configuration value the kinematics read may have changed,
// so a snapshot of the configuration taken at generation g still holds every
// value the getters return as long as config_generation() == g. Starts at 1
// and only grows (64 bits do not wrap), so 0 never names a generation.
uint64_t config_generation();

inline constexpr uint64_t kNoConfigGeneration = 0;

}  // namespace tova
