// Programs that a test has running beside it.

#pragma once

#include <string>
#include <vector>

#include <sys/types.h>

namespace korva::tests {

/// Starts a program found by PATH, on these descriptors. It ends with us, however we end. To be
/// called on a thread that lives as long as the program.
pid_t Spawn(const std::vector<std::string>& command, int input, int output, int error);

/// Signals it and waits for its end.
void End(pid_t process, int signal);

} // namespace korva::tests
