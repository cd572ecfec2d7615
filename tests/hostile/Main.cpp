// velmor_hostile_files [<seconds>]: loads each hostile file in a process of its own and prints, for each kind, how many
// were refused and which took the most memory and the most time. It ends with 1 when one of them crashed, loaded though
// it means nothing, or took more than 100 MB or, where they are given, more seconds of a processor than that.

#include "tests/fuzz/Files.h"
#include "tests/hostile/HostileFiles.h"

#include <malloc.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <map>
#include <stdexcept>
#include <string>

namespace {

using velmor::tests::HostileFile;

constexpr double kMostMegabytes = 100.0;
constexpr unsigned kPatience = 60; ///< seconds, for what never ends

/// How a process ended.
struct End
{
    std::string said; ///< nothing when the file has loaded
    int status = 0;
    double megabytes = 0.0; ///< at its peak, above what it began with
    double seconds = 0.0;
};

double megabytes(const rusage& used)
{
    return static_cast<double>(used.ru_maxrss) / 1024.0;
}

double seconds(const timeval& time)
{
    return static_cast<double>(time.tv_sec) + 1e-6 * static_cast<double>(time.tv_usec);
}

/// Loads a file and ends the process; what it says goes to a pipe, behind the memory that it began with.
[[noreturn]] void loadAndEnd(const HostileFile& file, int pipeEnd)
{
    alarm(kPatience);
    rusage used{};
    getrusage(RUSAGE_SELF, &used);
    bool isWritten = std::freopen("/dev/null", "w", stderr) && // codecs print about what they refuse
                     write(pipeEnd, &used, sizeof(used)) == sizeof(used);
    try {
        file.load("hostile");
    } catch (const std::runtime_error& error) {
        const auto size = static_cast<ssize_t>(std::strlen(error.what()));
        isWritten = isWritten && write(pipeEnd, error.what(), static_cast<std::size_t>(size)) == size;
    }
    _exit(isWritten ? 0 : 1);
}

/// Loads a file in a process of its own.
End load(const HostileFile& file)
{
    int pipeEnds[2];
    malloc_trim(0); // or the child has memory before it asks for it
    const pid_t child = pipe(pipeEnds) == 0 ? fork() : -1;
    if (child < 0)
        throw std::runtime_error(std::strerror(errno));
    if (child == 0)
        loadAndEnd(file, pipeEnds[1]);
    close(pipeEnds[1]);
    rusage before{}, after{};
    bool isRead = read(pipeEnds[0], &before, sizeof(before)) == sizeof(before);
    End end;
    char part[4096];
    for (ssize_t size = 0; (size = read(pipeEnds[0], part, sizeof(part))) > 0;)
        end.said.append(part, static_cast<std::size_t>(size));
    close(pipeEnds[0]);
    isRead = wait4(child, &end.status, 0, &after) == child && isRead;
    if (!isRead)
        throw std::runtime_error("a process ended before it began");
    end.megabytes = megabytes(after) - megabytes(before);
    end.seconds = seconds(after.ru_utime) + seconds(after.ru_stime);
    return end;
}

/// What all files of a kind came to.
struct Sum
{
    int refused = 0, loaded = 0;
    double megabytes = -1.0, seconds = -1.0;
    std::string largest, slowest;
};

std::string fault(const HostileFile& file, const End& end, double mostSeconds)
{
    if (WIFSIGNALED(end.status))
        return "was ended by signal " + std::to_string(WTERMSIG(end.status));
    if (end.status != 0)
        return "could not say how it went";
    if (end.said.empty() && !file.mayLoad)
        return "was loaded";
    if (end.megabytes > kMostMegabytes)
        return "took " + std::to_string(end.megabytes) + " MB";
    if (end.seconds > mostSeconds)
        return "took " + std::to_string(end.seconds) + " s";
    return "";
}

} // namespace

int main(int argc, char** argv)
{
    const double mostSeconds = argc > 1 ? std::strtod(argv[1], nullptr) : std::numeric_limits<double>::infinity();
    const velmor::tests::WorkingFolder folder;
    std::map<std::string, Sum> kinds;
    int faults = 0;
    velmor::tests::forEachHostileFile([&](const HostileFile& file) {
        velmor::tests::write("hostile", file.content);
        const End end = load(file);
        const std::string what = file.name + ": " + (end.said.empty() ? "no error" : end.said);
        Sum& sum = kinds[file.kind];
        ++(end.said.empty() ? sum.loaded : sum.refused);
        if (end.megabytes > sum.megabytes) {
            sum.megabytes = end.megabytes;
            sum.largest = what;
        }
        if (end.seconds > sum.seconds) {
            sum.seconds = end.seconds;
            sum.slowest = what;
        }
        const std::string wrong = fault(file, end, mostSeconds);
        if (wrong.empty())
            return;
        ++faults;
        std::printf("%s: %s; it %s\n", file.kind.c_str(), what.c_str(), wrong.c_str());
    });
    for (const auto& [kind, sum] : kinds)
        std::printf("%s: %d refused, %d loaded\n  %5.1f MB  %s\n  %5.3f s   %s\n", kind.c_str(), sum.refused,
                    sum.loaded, sum.megabytes, sum.largest.c_str(), sum.seconds, sum.slowest.c_str());
    std::printf("%d faults\n", faults);
    return faults == 0 ? 0 : 1;
}
