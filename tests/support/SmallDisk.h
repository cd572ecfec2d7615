#pragma once

#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iostream>
#include <string>

#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace velmor::tests {

/// Makes a folder a file system of 64 KiB, for this process alone; what stands in the way, or nothing. Who is not root
/// is root in a user namespace of his own.
inline std::string mountSmallDisk(const std::filesystem::path& folder)
{
    const auto failed = [](const char* call) {
        return std::string(call) + ": " + std::strerror(errno);
    };
    if (unshare(CLONE_NEWNS) != 0) {
        const std::string user = "0 " + std::to_string(geteuid()) + " 1";
        const std::string group = "0 " + std::to_string(getegid()) + " 1";
        if (unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0)
            return failed("unshare");
        std::ofstream("/proc/self/setgroups") << "deny";
        std::ofstream("/proc/self/gid_map") << group;
        std::ofstream("/proc/self/uid_map") << user;
    }
    if (mount("none", "/", "none", MS_REC | MS_PRIVATE, "") != 0)
        return failed("mount");
    return mount("none", folder.c_str(), "tmpfs", 0, "size=64k") == 0 ? "" : failed("mount");
}

/// What an action returns that runs in a process of its own, in which a folder is an empty file system of 64 KiB. It is
/// handed the words for a disk that is full. Where nothing can be mounted no file may be larger than 64 KiB instead.
inline std::string onSmallDisk(const std::filesystem::path& folder,
                               const std::function<std::string(const std::string& full)>& action)
{
    int channel[2];
    EXPECT_EQ(pipe2(channel, O_CLOEXEC), 0) << std::strerror(errno);
    const pid_t child = fork();
    if (child == 0) {
        std::string result;
        try {
            const std::string obstacle = mountSmallDisk(folder);
            if (!obstacle.empty()) {
                std::cerr << "no file system can be mounted (" << obstacle
                          << "): the size of files is limited instead\n";
                const rlimit limit{65536, 65536};
                std::signal(SIGXFSZ, SIG_IGN);
                setrlimit(RLIMIT_FSIZE, &limit);
            }
            result = action(obstacle.empty() ? "No space left on device" : "File too large");
        } catch (const std::exception& exception) {
            result = std::string("the action threw: ") + exception.what();
        }
        const ssize_t told = write(channel[1], result.data(), result.size());
        // Not _exit(): libraries are not unloaded here, and for what they keep valgrind would make it a failure.
        kill(getpid(), told == static_cast<ssize_t>(result.size()) ? SIGKILL : SIGABRT);
    }
    close(channel[1]);
    std::string result;
    char part[4096];
    for (ssize_t size; (size = read(channel[0], part, sizeof(part))) > 0;)
        result.append(part, static_cast<std::size_t>(size));
    close(channel[0]);
    int status = 0;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(WTERMSIG(status), SIGKILL) << "the process did not come to its end";
    return result;
}

} // namespace velmor::tests
