// StudioNet: a private studio network of network namespaces, built by a test process (root only).
//
//   morvane::test::StudioNet net(2);          // namespaces <p>-sw (bridge), <p>-host, <p>-u1, <p>-u2
//   ASSERT_TRUE(net.ok()) << net.error();
//   net.hostAddress()        "10.77.0.1"      the computer that runs the plug-in
//   net.unitAddress(k)       "10.77.0.(10+k)" unit k, 1-based
//   net.foreignAddress(k)    "10.77.0.(100+k)" a second address in unit k's namespace (fault "foreign")
//   net.broadcastAddress()   "10.77.0.255"
//   net.hostNamespace(), net.unitNamespace(k)   names for `ip netns exec` and the calls below
//
//   net.runIn(ns, [&] { unit.start(); });   // runs on a fresh thread inside ns and joins it. Sockets
//                                           // and threads made there stay in ns: a morvane::sim::Unit
//                                           // started so lives in ns for good.
//   { morvane::test::ScopedNamespace in(net.hostNamespace()); ... }  // moves the calling thread,
//                                           // back at the end of the scope. Threads it starts inherit ns.
//   pid_t p = net.spawnIn(ns, {"/path/morvane-unit", "--address", net.unitAddress(1)}, "/tmp/out.txt");
//   net.stop(p);                            // SIGTERM, bounded wait, SIGKILL
//   ~StudioNet()                            // stops every spawned child, removes all namespaces
//
// setns(CLONE_NEWNET) moves only the calling thread; to move a whole process into the computer's
// namespace, do it on the main thread before any other thread starts. Two StudioNets never collide:
// each has its own prefix and its subnet lives only inside its own namespaces.
#pragma once

#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <functional>
#include <net/if.h>
#include <sched.h>
#include <string>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace morvane::test
{

// As root, moves this process into a network namespace of its own with loopback up, so that
// programs running side by side never share a port. False otherwise.
inline bool enterOwnNetwork()
{
    if (::geteuid() != 0 || ::unshare(CLONE_NEWNET) != 0)
        return false;
    const int fd = ::socket(AF_INET, SOCK_DGRAM, 0);
    if (fd < 0)
        return false;
    ifreq request{};
    std::strncpy(request.ifr_name, "lo", IFNAMSIZ - 1);
    bool up = ::ioctl(fd, SIOCGIFFLAGS, &request) == 0;
    request.ifr_flags |= IFF_UP;
    up = up && ::ioctl(fd, SIOCSIFFLAGS, &request) == 0;
    ::close(fd);
    return up;
}

class ScopedNamespace
{
public:
    explicit ScopedNamespace(const std::string& ns)
    {
        back_ = ::open("/proc/thread-self/ns/net", O_RDONLY | O_CLOEXEC);
        const int target = ::open(("/run/netns/" + ns).c_str(), O_RDONLY | O_CLOEXEC);
        ok_ = back_ >= 0 && target >= 0 && ::setns(target, CLONE_NEWNET) == 0;
        if (target >= 0)
            ::close(target);
    }
    ~ScopedNamespace()
    {
        if (ok_)
            ::setns(back_, CLONE_NEWNET);
        if (back_ >= 0)
            ::close(back_);
    }
    ScopedNamespace(const ScopedNamespace&) = delete;
    ScopedNamespace& operator=(const ScopedNamespace&) = delete;
    bool ok() const { return ok_; }

private:
    int back_ = -1;
    bool ok_ = false;
};

class StudioNet
{
public:
    static constexpr const char* subnet = "10.77.0";

    // Root and the ip tool: what building a network needs.
    static bool usable() { return ::geteuid() == 0 && run({"ip", "-V"}); }

    explicit StudioNet(int units)
    {
        static std::atomic<int> serial{0};
        prefix_ = "mt" + std::to_string(::getpid()) + "n" + std::to_string(serial++);
        units_ = units;
        if (units < 1 || units > 80)
            error_ = "1 to 80 units";
        else if (!build())
            error_ = "cannot build the studio network " + prefix_ + " (root and iproute2 needed)";
    }

    ~StudioNet()
    {
        for (pid_t p : children_)
            stop(p);
        for (const std::string& ns : namespaces_)
            run({"ip", "netns", "del", ns});
    }

    StudioNet(const StudioNet&) = delete;
    StudioNet& operator=(const StudioNet&) = delete;

    bool ok() const { return error_.empty(); }
    const std::string& error() const { return error_; }
    int units() const { return units_; }

    std::string hostNamespace() const { return prefix_ + "-host"; }
    std::string unitNamespace(int k) const { return prefix_ + "-u" + std::to_string(k); }
    std::string hostAddress() const { return std::string(subnet) + ".1"; }
    std::string unitAddress(int k) const { return std::string(subnet) + "." + std::to_string(10 + k); }
    std::string foreignAddress(int k) const { return std::string(subnet) + "." + std::to_string(100 + k); }
    std::string broadcastAddress() const { return std::string(subnet) + ".255"; }

    // false when the thread could not enter ns (work then did not run).
    bool runIn(const std::string& ns, const std::function<void()>& work) const
    {
        bool entered = false;
        std::thread t(
            [&]
            {
                ScopedNamespace in(ns);
                entered = in.ok();
                if (entered)
                    work();
            });
        t.join();
        return entered;
    }

    // A child process in ns, output to outputFile (or /dev/null); -1 on failure.
    pid_t spawnIn(const std::string& ns, const std::vector<std::string>& argv,
                  const std::string& outputFile = "/dev/null")
    {
        std::vector<char*> args;
        for (const std::string& a : argv)
            args.push_back(const_cast<char*>(a.c_str()));
        args.push_back(nullptr);
        const std::string nsPath = "/run/netns/" + ns;
        const pid_t pid = ::fork();
        if (pid == 0)
        {
            const int nsFd = ::open(nsPath.c_str(), O_RDONLY);
            const int out = ::open(outputFile.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0644);
            const int in = ::open("/dev/null", O_RDONLY);
            if (nsFd < 0 || ::setns(nsFd, CLONE_NEWNET) != 0 || out < 0 || in < 0)
                ::_exit(127);
            ::dup2(in, 0);
            ::dup2(out, 1);
            ::dup2(out, 2);
            ::execv(args[0], args.data());
            ::_exit(127);
        }
        if (pid > 0)
            children_.push_back(pid);
        return pid;
    }

    // Ends a child of spawnIn: SIGTERM, up to 3 s, then SIGKILL.
    void stop(pid_t pid)
    {
        if (pid <= 0)
            return;
        ::kill(pid, SIGTERM);
        for (int i = 0; i < 300; ++i)
        {
            if (::waitpid(pid, nullptr, WNOHANG) != 0)
                return;
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        ::kill(pid, SIGKILL);
        ::waitpid(pid, nullptr, 0);
    }

    // Runs a program (no shell), quietly; true on exit status 0.
    static bool run(const std::vector<std::string>& argv)
    {
        std::vector<char*> args;
        for (const std::string& a : argv)
            args.push_back(const_cast<char*>(a.c_str()));
        args.push_back(nullptr);
        const pid_t pid = ::fork();
        if (pid == 0)
        {
            const int null = ::open("/dev/null", O_RDWR);
            ::dup2(null, 0);
            ::dup2(null, 1);
            ::dup2(null, 2);
            ::execvp(args[0], args.data());
            ::_exit(127);
        }
        int status = 0;
        return pid > 0 && ::waitpid(pid, &status, 0) == pid && WIFEXITED(status) && WEXITSTATUS(status) == 0;
    }

private:
    bool addNamespace(const std::string& ns)
    {
        if (!run({"ip", "netns", "add", ns}))
            return false;
        namespaces_.push_back(ns);
        return run({"ip", "-n", ns, "link", "set", "lo", "up"});
    }

    // Namespace ns joins the bridge through port, with its address (and a second one if given).
    bool attach(const std::string& ns, const std::string& port, const std::string& address,
                const std::string& extra = "")
    {
        const std::string sw = prefix_ + "-sw";
        return addNamespace(ns) &&
               run({"ip", "-n", sw, "link", "add", port, "type", "veth", "peer", "name", "eth0", "netns",
                    ns}) &&
               run({"ip", "-n", sw, "link", "set", port, "master", "br0", "up"}) &&
               run({"ip", "-n", ns, "addr", "add", address + "/24", "broadcast", broadcastAddress(), "dev",
                    "eth0"}) &&
               (extra.empty() || run({"ip", "-n", ns, "addr", "add", extra + "/24", "dev", "eth0"})) &&
               run({"ip", "-n", ns, "link", "set", "eth0", "up"});
    }

    bool build()
    {
        const std::string sw = prefix_ + "-sw";
        if (!addNamespace(sw) || !run({"ip", "-n", sw, "link", "add", "br0", "type", "bridge"}) ||
            !run({"ip", "-n", sw, "link", "set", "br0", "up"}) ||
            !attach(hostNamespace(), "host", hostAddress()))
            return false;
        for (int k = 1; k <= units_; ++k)
            if (!attach(unitNamespace(k), "u" + std::to_string(k), unitAddress(k), foreignAddress(k)))
                return false;
        return true;
    }

    std::string prefix_;
    int units_ = 0;
    std::string error_;
    std::vector<std::string> namespaces_;
    std::vector<pid_t> children_;
};

} // namespace morvane::test
