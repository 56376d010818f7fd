#pragma once

#include <string>

/// What a process inherits from its starter beside the environment, and what of it can be changed
/// later without privileges.
namespace tasklane {

/// What a process cannot give itself: users and groups, hard limits, priorities, processors. Equal
/// for processes between which it makes no difference who does a piece of work.
std::string unchangeableConditions();

/// The soft limits of this process, for another one with equal hard limits.
std::string softLimits();
/// Sets this process's soft limits to what softLimits() has answered elsewhere.
void adoptSoftLimits(const std::string& limits);

}  // namespace tasklane
