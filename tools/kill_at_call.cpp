// kill_at_call NUMBER PROGRAM ARGUMENT...: runs the program and kills it with SIGKILL at the entry
// of its system call of that number, counted over all of its threads. Exits with 0 when the program
// came to its end before, with 1 when it was killed.

#include <signal.h>
#include <stdlib.h>
#include <sys/ptrace.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <set>

int main(int argc, char** argv) {
    if (argc < 3) {
        return 2;
    }
    long left = atol(argv[1]);
    const pid_t child = fork();
    if (child == 0) {
        ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
        raise(SIGSTOP);
        execv(argv[2], argv + 2);
        _exit(2);
    }
    int status = 0;
    waitpid(child, &status, 0);
    ptrace(PTRACE_SETOPTIONS, child, nullptr,
           PTRACE_O_TRACESYSGOOD | PTRACE_O_TRACECLONE | PTRACE_O_EXITKILL);
    ptrace(PTRACE_SYSCALL, child, nullptr, nullptr);
    std::set<pid_t> inCall;
    for (;;) {
        const pid_t thread = waitpid(-1, &status, __WALL);
        if (thread < 0) {
            return errno == ECHILD ? 1 : 2;
        }
        if (WIFEXITED(status) || WIFSIGNALED(status)) {
            if (thread == child) {
                return WIFEXITED(status) ? 0 : 1;
            }
            continue;
        }
        const int number = WSTOPSIG(status);
        const bool isCall = number == (SIGTRAP | 0x80);
        if (isCall && inCall.erase(thread) == 0) {
            inCall.insert(thread);
            if (--left == 0) {
                kill(child, SIGKILL);
                while (waitpid(-1, &status, __WALL) > 0) {
                }
                return 1;
            }
        }
        const bool isOwn = isCall || number == SIGTRAP || number == SIGSTOP;
        ptrace(PTRACE_SYSCALL, thread, nullptr, isOwn ? 0 : number);
    }
}
