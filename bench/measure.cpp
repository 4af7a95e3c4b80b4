// Runs a program as a process of its own and writes what it took: wall seconds, processor seconds, peak memory in KiB
// and its status. Usage: measure RESULT COMMAND ARGUMENT...
//
// A program inherits the peak of the process that it is forked from; this one is small, which a script is not.

#include <sys/resource.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <cstdio>

namespace {

double now() {
    timespec time{};
    clock_gettime(CLOCK_MONOTONIC, &time);
    return static_cast<double>(time.tv_sec) + 1e-9 * static_cast<double>(time.tv_nsec);
}

double seconds(const timeval& time) {
    return static_cast<double>(time.tv_sec) + 1e-6 * static_cast<double>(time.tv_usec);
}

} // namespace

int main(int argc, char** argv) {
    if (argc < 3) {
        std::fprintf(stderr, "Usage: measure RESULT COMMAND ARGUMENT...\n");
        return 2;
    }
    const double start = now();
    const pid_t child = fork();
    if (child == 0) {
        execvp(argv[2], argv + 2);
        _exit(127);
    }
    int status = 0;
    rusage usage{};
    if (child < 0 || wait4(child, &status, 0, &usage) != child) {
        std::perror("measure");
        return 1;
    }
    const double end = now();
    std::FILE* result = std::fopen(argv[1], "w");
    if (result == nullptr) {
        std::perror(argv[1]);
        return 1;
    }
    std::fprintf(result, "%.6f %.6f %ld %d\n", end - start, seconds(usage.ru_utime) + seconds(usage.ru_stime),
                 usage.ru_maxrss, WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status));
    return std::fclose(result) == 0 ? 0 : 1;
}
