#include "tests/support/Spawn.h"

#include <csignal>

#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace korva::tests {

pid_t Spawn(const std::vector<std::string>& command, int input, int output, int error)
{
    std::vector<char*> arguments;
    for (const std::string& argument : command)
        arguments.push_back(const_cast<char*>(argument.c_str()));
    arguments.push_back(nullptr);
    const pid_t process = fork();
    if (process == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        dup2(input, STDIN_FILENO);
        dup2(output, STDOUT_FILENO);
        dup2(error, STDERR_FILENO);
        execvp(arguments[0], arguments.data());
        _exit(127);
    }
    return process;
}

void End(pid_t process, int signal)
{
    kill(process, signal);
    waitpid(process, nullptr, 0);
}

} // namespace korva::tests
