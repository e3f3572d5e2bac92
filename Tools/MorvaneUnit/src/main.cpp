// morvane-unit: one or several simulated Morvane units, driven by line commands.
#include "CommandLine.h"
#include "Net.h"

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <fcntl.h>
#include <fstream>
#include <iostream>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace morvane::sim;

namespace
{
std::atomic<bool> quitRequested{false};

void onSignal(int)
{
    quitRequested = true;
}

void installSignals()
{
    struct sigaction sa
    {
    };
    sa.sa_handler = onSignal;
    sigemptyset(&sa.sa_mask);
    sigaction(SIGINT, &sa, nullptr);
    sigaction(SIGTERM, &sa, nullptr);
    std::signal(SIGPIPE, SIG_IGN);
}

void say(const std::string& reply)
{
    if (reply.empty())
        return;
    std::cout << reply << (reply.back() == '\n' ? "" : "\n");
    std::cout.flush();
}

// Collects bytes of a descriptor and hands out whole lines.
struct LineSource
{
    int fd = -1;
    std::string pending;

    // false at end of input
    bool readInto(Console& console)
    {
        char buf[4096];
        const ssize_t n = ::read(fd, buf, sizeof buf);
        if (n == 0 || (n < 0 && errno != EAGAIN && errno != EINTR))
            return false;
        if (n > 0)
            pending.append(buf, static_cast<size_t>(n));
        for (size_t pos; (pos = pending.find('\n')) != std::string::npos && !quitRequested;)
        {
            say(console.run(pending.substr(0, pos)));
            pending.erase(0, pos + 1);
        }
        return true;
    }
};

// A FIFO that we also hold open for writing never reports end of input between writers.
bool openControl(const std::string& path, int& readFd, int& writeFd)
{
    struct stat st
    {
    };
    if (::stat(path.c_str(), &st) != 0 && ::mkfifo(path.c_str(), 0600) != 0)
        return false;
    readFd = ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    writeFd = ::open(path.c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC);
    return readFd >= 0 && writeFd >= 0;
}

void runScript(const std::string& path, Console& console)
{
    std::ifstream in(path);
    std::string line;
    while (!quitRequested && std::getline(in, line))
        say(console.run(line));
}

void serve(Console& console, const std::string& control)
{
    LineSource input{STDIN_FILENO, {}};
    LineSource fifo;
    int fifoWriter = -1;
    if (!control.empty() && !openControl(control, fifo.fd, fifoWriter))
        std::cerr << "morvane-unit: cannot open the control pipe " << control << "\n";
    bool stdinOpen = true;
    while (!quitRequested)
    {
        pollfd fds[2] = {{stdinOpen ? STDIN_FILENO : -1, POLLIN, 0}, {fifo.fd, POLLIN, 0}};
        if (::poll(fds, 2, 200) <= 0)
            continue;
        if (fds[0].revents & (POLLIN | POLLHUP | POLLERR))
            stdinOpen = input.readInto(console);
        if (fds[1].revents & POLLIN)
            fifo.readInto(console);
    }
    net::closeFd(fifo.fd);
    net::closeFd(fifoWriter);
}
} // namespace

int main(int argc, char** argv)
{
    Options options;
    std::string err;
    if (!parseOptions(argc, argv, options, err))
    {
        std::cerr << "morvane-unit: " << err << "\n" << usage();
        return 2;
    }
    if (options.help)
    {
        std::cout << usage();
        return 0;
    }
    installSignals();
    std::vector<std::unique_ptr<Unit>> units;
    for (const UnitConfig& config : unitConfigs(options))
    {
        units.push_back(std::make_unique<Unit>(config));
        if (!units.back()->start())
        {
            std::cerr << "morvane-unit: unit " << config.address << ": " << units.back()->startError()
                      << "\n";
            return 1;
        }
        say("unit " + config.address + " http " + std::to_string(config.httpPort) + " status-port " +
            std::to_string(config.statusPort) + " serial " + config.serial + " log " +
            (config.logPath.empty() ? "-" : config.logPath));
    }
    Console console(units, quitRequested);
    if (!options.script.empty())
        runScript(options.script, console);
    serve(console, options.control);
    for (auto& unit : units)
        unit->stop();
    return 0;
}
