#include "MorvaneUnit/Unit.h"

#include "Discovery.h"
#include "Net.h"
#include "Pages.h"
#include "UnitLog.h"

#include <algorithm>
#include <arpa/inet.h>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <netinet/in.h>
#include <sched.h>
#include <sstream>
#include <sys/socket.h>
#include <unistd.h>

namespace morvane::sim
{
namespace
{
using Clock = std::chrono::steady_clock;

constexpr size_t maxRequestBytes = 8192;
constexpr int requestTimeoutMs = 2000;
constexpr size_t maxHungConnections = 64;
constexpr size_t maxRecords = 100000;
constexpr int oversizeRows = 110; // pushes a datagram well past 2047 bytes

int64_t nowMs()
{
    return std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now().time_since_epoch()).count();
}

std::vector<std::string> splitWords(const std::string& line)
{
    std::istringstream in(line);
    std::vector<std::string> words;
    std::string w;
    while (in >> w)
        words.push_back(w);
    return words;
}

std::vector<std::string> splitOn(const std::string& text, char sep)
{
    std::vector<std::string> parts;
    size_t start = 0;
    for (size_t pos; (pos = text.find(sep, start)) != std::string::npos; start = pos + 1)
        parts.push_back(text.substr(start, pos - start));
    parts.push_back(text.substr(start));
    return parts;
}

bool parseInt(const std::string& text, int& out)
{
    if (text.empty() || text.size() > 9)
        return false;
    char* end = nullptr;
    const long v = std::strtol(text.c_str(), &end, 10);
    if (*end != '\0')
        return false;
    out = static_cast<int>(v);
    return true;
}

bool parseDouble(const std::string& text, double& out)
{
    if (text.empty() || text.size() > 32)
        return false;
    char* end = nullptr;
    out = std::strtod(text.c_str(), &end);
    return *end == '\0';
}

bool parseOnOff(const std::string& text, bool& out)
{
    if (text != "on" && text != "off")
        return false;
    out = text == "on";
    return true;
}

// On 127/8 every address is local, so the other sender is simply a neighbour of the unit's own.
uint32_t derivedForeignAddress(uint32_t address)
{
    const uint32_t host = ntohl(address);
    if ((host >> 24) != 127)
        return 0;
    const uint32_t last = ((host & 0xff) + 100) % 250 + 1;
    return htonl((host & 0xffffff00u) | last);
}

std::string derivedMac(uint32_t address)
{
    const uint32_t host = ntohl(address);
    char buf[32];
    std::snprintf(buf, sizeof buf, "02:4d:56:%02x:%02x:%02x", (host >> 16) & 0xff, (host >> 8) & 0xff,
                  host & 0xff);
    return buf;
}

// Another unit of the product: each digit d becomes 9 - d.
std::string alternateSerialOf(std::string serial)
{
    bool changed = false;
    for (char& c : serial)
        if (c >= '0' && c <= '9')
        {
            c = static_cast<char>('9' - (c - '0'));
            changed = true;
        }
    return changed ? serial : serial + "X";
}

std::string lastChars(const std::string& s, size_t n)
{
    return s.size() > n ? s.substr(s.size() - n) : std::string(n - s.size(), '0') + s;
}

std::string requestTarget(const std::string& line)
{
    const auto words = splitWords(line);
    return words.size() >= 2 ? words[1] : std::string();
}

std::string targetPath(const std::string& target)
{
    return target.substr(0, target.find('?'));
}

// The web page is the unit's own face for a person: the faults of what the plug-in reads leave it alone.
bool isWebPage(const std::string& path)
{
    return path == "/" || path.rfind("/ui/", 0) == 0;
}

int hexDigit(char c)
{
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    return -1;
}

// %XX and '+' of a query; a broken escape stays as it is.
std::string percentDecoded(const std::string& text)
{
    std::string out;
    for (size_t i = 0; i < text.size(); ++i)
    {
        const int hi = i + 2 < text.size() ? hexDigit(text[i + 1]) : -1;
        const int lo = i + 2 < text.size() ? hexDigit(text[i + 2]) : -1;
        if (text[i] == '%' && hi >= 0 && lo >= 0)
        {
            out += static_cast<char>(hi * 16 + lo);
            i += 2;
        }
        else
            out += text[i] == '+' ? ' ' : text[i];
    }
    return out;
}

std::string jsonString(const std::string& text)
{
    std::string out = "\"";
    for (const char c : text)
    {
        if (c == '"' || c == '\\')
            out += '\\';
        if (static_cast<unsigned char>(c) >= 0x20)
            out += c;
    }
    return out + "\"";
}

const char* const helpText = R"(Front panel:
  turn ROW VALUE [MS]     take a control by hand: held flag up, value glides to VALUE in MS ms
  touch ROW               held flag up without moving
  release ROW|all         held flag down
  set ROW VALUE           set a row as a knob request would (clamped), not held
  mode N                  mode position 0..11 (row 10 keeps the channel mode)
  dual on|off             channel mode: dual mono adds 12 to row 10
  lamp                    press the lamp button (row 14 toggles)
  autogain on|off         row 5: 255 or 0
  highgain on|off         row 22 (never reported)
  brightness N            row 7
  meter N                 row 6, VU-meter face 1..21
  comp L R                gain reduction, thousandths of a dB (0 or negative); stops the program
  program sine|off        gain reduction follows a slow sine
  clip N                  the clip word
  balance V               the balance figure
Unit:
  fault NAME on|off [ARG] switch a fault; ARG: ms per byte for slow, the other serial for serial
  faults                  list the faults and their state
  vanish | return         close every socket / open them again
  period MS               status period
  datagrams on|off        log every status datagram or not
  status                  state, clients and rows
  help                    this text
Faults: )";
} // namespace

Unit::Unit(UnitConfig config) : config_(std::move(config))
{
    periodMs_ = config_.periodMs > 0 ? config_.periodMs : 40;
    slowByteMs_ = config_.slowByteMs;
    logDatagrams_ = config_.logDatagrams;
    alternateSerial_ = alternateSerialOf(config_.serial);
}

Unit::~Unit()
{
    stop();
}

std::string Unit::commandHelp()
{
    return helpText + faultNames() + "\n";
}

std::string Unit::startError() const
{
    std::lock_guard<std::mutex> lock(lifeMutex_);
    return startError_;
}

bool Unit::start()
{
    std::lock_guard<std::mutex> lock(lifeMutex_);
    if (running_)
        return true;
    if (!net::parseAddress(config_.address, address_))
    {
        startError_ = "not an IPv4 address: " + config_.address;
        return false;
    }
    if (config_.foreignAddress.empty() || !net::parseAddress(config_.foreignAddress, foreignAddress_))
        foreignAddress_ = derivedForeignAddress(address_);
    mac_ = config_.mac.empty() ? derivedMac(address_) : config_.mac;
    log_ = std::make_unique<UnitLog>(config_.logPath, config_.address);
    if (!log_->ok())
    {
        startError_ = "cannot open the log " + config_.logPath;
        return false;
    }
    netnsFd_ = net::openCurrentNetns();
    netnsInode_ = net::currentNetnsInode();
    if (!startThreads())
    {
        net::closeFd(netnsFd_);
        log_->write("ERROR", startError_);
        return false;
    }
    running_ = true;
    vanished_ = false;
    log_->write("START", "http " + std::to_string(config_.httpPort) + " status-port " +
                             std::to_string(config_.statusPort) + " serial " + serial() + " name " + name());
    return true;
}

void Unit::stop()
{
    std::lock_guard<std::mutex> lock(lifeMutex_);
    if (!running_)
        return;
    if (!vanished_)
        stopThreads();
    running_ = false;
    net::closeFd(netnsFd_);
    log_->write("STOP", "");
}

bool Unit::startThreads()
{
    threadsStop_ = false;
    std::string err;
    if (!fault(Fault::Refused) && (listenFd_ = net::tcpListener(address_, config_.httpPort, err)) < 0)
    {
        startError_ = err;
        return false;
    }
    hub_ = DiscoveryHub::acquire(config_.discoveryPort, err);
    if (!hub_)
    {
        net::closeFd(listenFd_);
        startError_ = "discovery: " + err;
        return false;
    }
    hub_->add(this);
    httpThread_ = std::thread([this] { httpLoop(); });
    statusThread_ = std::thread([this] { statusLoop(); });
    return true;
}

void Unit::stopThreads()
{
    {
        std::lock_guard<std::mutex> lock(wakeMutex_);
        threadsStop_ = true;
    }
    wake_.notify_all();
    if (httpThread_.joinable())
        httpThread_.join();
    if (statusThread_.joinable())
        statusThread_.join();
    if (hub_)
        hub_->remove(this);
    hub_.reset();
    net::closeFd(listenFd_);
}

// Sockets and threads made on a thread of another namespace would live there; such work goes to a
// short-lived thread that first joins the unit's namespace.
template <typename F> void Unit::inUnitNamespace(F&& work)
{
    if (net::currentNetnsInode() == netnsInode_)
    {
        work();
        return;
    }
    std::thread helper(
        [&]
        {
            if (::setns(netnsFd_, CLONE_NEWNET) == 0)
                work();
        });
    helper.join();
}

void Unit::vanish()
{
    std::lock_guard<std::mutex> lock(lifeMutex_);
    faults_[static_cast<int>(Fault::Vanish)] = true;
    if (!running_ || vanished_)
        return;
    stopThreads();
    vanished_ = true;
    log_->write("VANISH", "every socket closed");
}

void Unit::comeBack()
{
    std::lock_guard<std::mutex> lock(lifeMutex_);
    faults_[static_cast<int>(Fault::Vanish)] = false;
    if (!running_ || !vanished_)
        return;
    bool ok = false;
    inUnitNamespace([&] { ok = startThreads(); });
    vanished_ = !ok;
    log_->write(ok ? "RETURN" : "ERROR", ok ? "back on the network" : "cannot come back: " + startError_);
}

void Unit::setFault(Fault f, bool on)
{
    if (f == Fault::Vanish)
    {
        on ? vanish() : comeBack();
        return;
    }
    faults_[static_cast<int>(f)] = on;
    {
        std::lock_guard<std::mutex> lock(wakeMutex_);
    }
    wake_.notify_all(); // a slow answer in progress speeds up at once
    if (log_)
        log_->write("FAULT", std::string(faultName(f)) + (on ? " on" : " off"));
}

bool Unit::pause(int ms)
{
    std::unique_lock<std::mutex> lock(wakeMutex_);
    return !wake_.wait_for(lock, std::chrono::milliseconds(ms), [this] { return threadsStop_.load(); });
}

// ---------------------------------------------------------------------------------------------- HTTP

void Unit::httpLoop()
{
    std::string lastError;
    while (!threadsStop_)
    {
        if (fault(Fault::Refused))
            net::closeFd(listenFd_);
        else if (listenFd_ < 0)
        {
            std::string err;
            listenFd_ = net::tcpListener(address_, config_.httpPort, err);
            if (listenFd_ < 0 && err != lastError)
                log_->write("ERROR", lastError = err);
        }
        if (!fault(Fault::Hang))
            releaseHungConnections();
        if (listenFd_ < 0)
        {
            pause(50);
            continue;
        }
        if (!net::waitReadable(listenFd_, 50))
            continue;
        sockaddr_in peer{};
        socklen_t len = sizeof peer;
        const int fd = ::accept4(listenFd_, reinterpret_cast<sockaddr*>(&peer), &len, SOCK_CLOEXEC);
        if (fd >= 0)
            handleConnection(fd, peer.sin_addr.s_addr);
    }
    net::closeFd(listenFd_);
    releaseHungConnections();
}

void Unit::releaseHungConnections()
{
    for (int& fd : hungFds_)
        net::closeFd(fd);
    hungFds_.clear();
}

void Unit::handleConnection(int fd, uint32_t peer)
{
    std::string request;
    const int64_t deadline = nowMs() + requestTimeoutMs;
    while (!threadsStop_ && request.find("\r\n\r\n") == std::string::npos &&
           request.size() < maxRequestBytes && nowMs() < deadline)
    {
        if (!net::waitReadable(fd, 50))
            continue;
        char buf[2048];
        const ssize_t n = ::recv(fd, buf, sizeof buf, MSG_DONTWAIT);
        if (n <= 0 && !(n < 0 && (errno == EAGAIN || errno == EINTR)))
            break;
        if (n > 0)
            request.append(buf, static_cast<size_t>(n));
    }
    const std::string line = request.substr(0, request.find_first_of("\r\n"));
    const std::string target = requestTarget(line);
    const bool webPage = isWebPage(targetPath(target));
    // Any connection makes a client, a bare connection test as much as a request; a browser
    // on the web page reads no status datagrams.
    if (!webPage)
        rememberClient(peer);
    if (!line.empty())
    {
        record(line);
        if (targetPath(target) != "/ui/state") // the page asks ten times a second
            log_->write("REQUEST", net::addressText(peer) + " " + line);
    }
    if (fault(Fault::Hang) && !line.empty() && !webPage)
    {
        if (hungFds_.size() >= maxHungConnections)
            releaseHungConnections();
        hungFds_.push_back(fd);
        return;
    }
    if (!line.empty() && (webPage || !fault(Fault::Close)))
        sendResponse(fd, respond(target), !webPage);
    ::shutdown(fd, SHUT_WR);
    ::close(fd);
}

void Unit::sendResponse(int fd, const std::string& response, bool mayBeSlow)
{
    size_t sent = 0;
    while (sent < response.size() && mayBeSlow && fault(Fault::Slow))
    {
        if (::send(fd, response.data() + sent, 1, MSG_NOSIGNAL | MSG_DONTWAIT) != 1 || !pause(slowByteMs_))
            return;
        ++sent;
    }
    net::sendAll(fd, response.data() + sent, response.size() - sent, 1000);
}

std::string Unit::respond(const std::string& target)
{
    const size_t q = target.find('?');
    const std::string path = target.substr(0, q);
    const std::string query = q == std::string::npos ? std::string() : target.substr(q + 1);
    if (isWebPage(path))
        return webPage(path, query);
    if (fault(Fault::NotFound))
        return pages::notFound(path);
    if (path == "/info")
        return pages::info(panel_.statusMessage(fault(Fault::NoPort) ? -1 : config_.statusPort));
    if (path == "/dinfo")
    {
        const Identity id = identity();
        const pages::DeviceInfo device{id.serial,        id.name,           mac_, id.model, config_.address,
                                       config_.httpPort, config_.statusPort};
        return fault(Fault::ShortDinfo) ? pages::shortDinfo(device) : pages::dinfo(device);
    }
    if (path == "/knob")
        return knobPage(query);
    if (path == "/balance")
        return q == std::string::npos ? pages::balance(panel_.balanceText()) : balancePage(query);
    return pages::notFound(path);
}

std::string Unit::webPage(const std::string& path, const std::string& query)
{
    if (path == "/")
        return pages::webPanel();
    if (path == "/ui/state")
        return pages::json(stateJson());
    if (path == "/ui/command")
        return pages::plainText(command(percentDecoded(query)));
    return pages::notFound(path);
}

// What the web page draws: the panel, the identity and the faults in one JSON object.
std::string Unit::stateJson() const
{
    const PanelView v = panel_.view();
    std::ostringstream out;
    out << "{\"serial\":" << jsonString(serial()) << ",\"name\":" << jsonString(name())
        << ",\"address\":" << jsonString(config_.address) << ",\"http\":" << config_.httpPort
        << ",\"statusPort\":" << config_.statusPort << ",\"mac\":" << jsonString(mac_) << ",\"rows\":[";
    for (int r = 0; r < rowCount; ++r)
        out << (r ? "," : "") << "[" << v.rows[r].value << "," << v.rows[r].min << "," << v.rows[r].max << ","
            << (v.rows[r].held ? 1 : 0) << "]";
    out << "],\"comp\":[" << formatNumber(v.compLeft) << "," << formatNumber(v.compRight)
        << "],\"clip\":" << v.clip << ",\"balance\":" << formatNumber(v.balance)
        << ",\"program\":" << (v.program ? "true" : "false") << ",\"faults\":[";
    for (int i = 0; i < faultCount; ++i)
        out << (i ? "," : "") << "[\"" << faultName(static_cast<Fault>(i)) << "\","
            << (faults_[i] ? "true" : "false") << "]";
    out << "],\"datagrams\":" << datagrams_ << ",\"clients\":" << clientCount() << "}";
    return out.str();
}

// row/value{/row/value}: every well-formed pair is applied, a malformed one is skipped.
std::string Unit::knobPage(const std::string& query)
{
    const auto parts = splitOn(query, '/');
    for (size_t i = 0; i + 1 < parts.size() || (i < parts.size() && !parts[i].empty()); i += 2)
    {
        KnobWrite w;
        w.text = i + 1 < parts.size() ? parts[i + 1] : std::string();
        double value = 0;
        const bool wellFormed =
            parseInt(parts[i], w.row) && panel_.validRow(w.row) && parseDouble(w.text, value);
        w.accepted = wellFormed && panel_.write(w.row, value);
        w.applied = wellFormed ? panel_.row(w.row).value : 0;
        if (!wellFormed)
            w.row = -1;
        recordKnob(w);
        const std::string what = parts[i] + " " + w.text;
        log_->write("KNOB",
                    w.accepted ? what + " -> " + std::to_string(w.applied)
                               : what + (wellFormed ? " ignored, held on the panel" : " ignored, malformed"));
    }
    return pages::ok();
}

std::string Unit::balancePage(const std::string& query)
{
    double value = 0;
    if (parseDouble(query, value))
    {
        panel_.setBalance(value);
        log_->write("BALANCE", panel_.balanceText());
    }
    else
        log_->write("BALANCE", query + " ignored, malformed");
    return pages::ok();
}

// -------------------------------------------------------------------------------------- Status stream

void Unit::statusLoop()
{
    int normalFd = -1;
    int foreignFd = -1;
    auto next = Clock::now();
    while (!threadsStop_)
    {
        const auto period = std::chrono::milliseconds(std::max(1, periodMs_.load()));
        next += period;
        {
            std::unique_lock<std::mutex> lock(wakeMutex_);
            wake_.wait_until(lock, next, [this] { return threadsStop_.load(); });
        }
        if (threadsStop_)
            break;
        const auto now = Clock::now();
        if (next + 5 * period < now)
            next = now; // after a stall: no burst to catch up
        panel_.tick(now);
        if (!fault(Fault::Silent))
            sendStatus(normalFd, foreignFd);
    }
    net::closeFd(normalFd);
    net::closeFd(foreignFd);
}

std::string Unit::shapeDatagram()
{
    if (fault(Fault::Garbage))
    {
        std::string junk(64 + garbageSeed_ % 400, '\0');
        for (char& c : junk)
        {
            garbageSeed_ = garbageSeed_ * 1103515245u + 12345u;
            c = static_cast<char>(garbageSeed_ >> 16);
        }
        return junk;
    }
    const std::string message = panel_.statusMessage(-1, fault(Fault::Oversized) ? oversizeRows : 0);
    return fault(Fault::Truncated) ? message.substr(0, message.size() / 2) : message;
}

void Unit::sendStatus(int& normalFd, int& foreignFd)
{
    const auto clients = currentClients();
    if (clients.empty())
        return;
    const bool foreign = fault(Fault::Foreign);
    int& fd = foreign ? foreignFd : normalFd;
    if (fd < 0)
    {
        std::string err;
        fd = net::udpSocket(foreign ? foreignAddress_ : address_, 0, false, err);
        if (fd < 0)
        {
            log_->write("ERROR", "status socket: " + err);
            return;
        }
    }
    const std::string datagram = shapeDatagram();
    for (uint32_t client : clients)
    {
        sockaddr_in to{};
        to.sin_family = AF_INET;
        to.sin_addr.s_addr = client;
        to.sin_port = htons(config_.statusPort);
        const ssize_t n = ::sendto(fd, datagram.data(), datagram.size(), MSG_NOSIGNAL | MSG_DONTWAIT,
                                   reinterpret_cast<sockaddr*>(&to), sizeof to);
        if (n != static_cast<ssize_t>(datagram.size()))
            continue;
        ++datagrams_;
        if (logDatagrams_)
            log_->write("DATAGRAM", net::addressText(client) + ":" + std::to_string(config_.statusPort) +
                                        " " + std::to_string(datagram.size()) + " bytes" +
                                        (foreign ? " foreign" : ""));
    }
}

void Unit::rememberClient(uint32_t peer)
{
    std::lock_guard<std::mutex> lock(clientMutex_);
    clients_[peer] = nowMs();
}

size_t Unit::clientCount() const
{
    std::lock_guard<std::mutex> lock(clientMutex_);
    return clients_.size();
}

std::vector<uint32_t> Unit::currentClients()
{
    std::lock_guard<std::mutex> lock(clientMutex_);
    const int64_t now = nowMs();
    std::vector<uint32_t> alive;
    for (auto it = clients_.begin(); it != clients_.end();)
    {
        if (now - it->second > config_.clientMemoryMs)
            it = clients_.erase(it);
        else
            alive.push_back((it++)->first);
    }
    return alive;
}

// ----------------------------------------------------------------------------------------- Discovery

void Unit::answerDiscovery(uint32_t toAddress, uint16_t toPort)
{
    const std::string reply = "{\"name\":\"" + name() + "\",\"serial\":\"" + serial() + "\",\"ip\":\"" +
                              config_.address + "\",\"http\":" + std::to_string(config_.httpPort) + "}";
    std::string err;
    int fd = net::udpSocket(address_, 0, false, err);
    if (fd < 0)
    {
        log_->write("ERROR", "discovery reply: " + err);
        return;
    }
    sockaddr_in to{};
    to.sin_family = AF_INET;
    to.sin_addr.s_addr = toAddress;
    to.sin_port = htons(toPort);
    const bool sent =
        ::sendto(fd, reply.data(), reply.size(), MSG_NOSIGNAL | MSG_DONTWAIT,
                 reinterpret_cast<sockaddr*>(&to), sizeof to) == static_cast<ssize_t>(reply.size());
    net::closeFd(fd);
    if (sent)
        ++discoveryReplies_;
    log_->write("DISCOVERY", net::addressText(toAddress) + ":" + std::to_string(toPort) +
                                 (sent ? " " : " failed ") + reply);
}

// ------------------------------------------------------------------------------------------ Identity

std::string Unit::serial() const
{
    if (!fault(Fault::Serial))
        return config_.serial;
    std::lock_guard<std::mutex> lock(alternateMutex_);
    return alternateSerial_;
}

std::string Unit::name() const
{
    return config_.name.empty() ? serial() : config_.name;
}

Unit::Identity Unit::identity() const
{
    if (fault(Fault::Product))
    {
        const std::string number = lastChars(config_.serial, 5);
        return Identity{"VLMEQ" + number, "VELMORA EQ-2 " + number, "EQ-2"};
    }
    return Identity{serial(), name(), "Morvane"};
}

// ------------------------------------------------------------------------------------------ Records

void Unit::record(const std::string& request)
{
    std::lock_guard<std::mutex> lock(recordMutex_);
    if (requests_.size() >= maxRecords)
        requests_.erase(requests_.begin(), requests_.begin() + maxRecords / 2);
    requests_.push_back(request);
}

void Unit::recordKnob(const KnobWrite& write)
{
    std::lock_guard<std::mutex> lock(recordMutex_);
    if (knobWrites_.size() >= maxRecords)
        knobWrites_.erase(knobWrites_.begin(), knobWrites_.begin() + maxRecords / 2);
    knobWrites_.push_back(write);
}

std::vector<std::string> Unit::requests() const
{
    std::lock_guard<std::mutex> lock(recordMutex_);
    return requests_;
}

std::vector<KnobWrite> Unit::knobWrites() const
{
    std::lock_guard<std::mutex> lock(recordMutex_);
    return knobWrites_;
}

void Unit::clearRecords()
{
    std::lock_guard<std::mutex> lock(recordMutex_);
    requests_.clear();
    knobWrites_.clear();
}

// ----------------------------------------------------------------------------------------- Commands

std::string Unit::command(const std::string& line)
{
    const auto words = splitWords(line);
    if (words.empty())
        return "ok";
    bool handled = false;
    std::string reply = panelCommand(words, handled);
    if (!handled)
        reply = unitCommand(words, handled);
    if (!handled)
        reply = "error: unknown command " + words[0] + " (try help)";
    if (log_ && words[0] != "status" && words[0] != "help")
        log_->write("COMMAND", line + " -> " + reply.substr(0, reply.find('\n')));
    return reply;
}

std::string Unit::panelCommand(const std::vector<std::string>& w, bool& handled)
{
    handled = true;
    const std::string& c = w[0];
    int row = 0, n = 0;
    double a = 0, b = 0;
    bool on = false;
    const bool rowArg = w.size() >= 2 && parseInt(w[1], row) && panel_.validRow(row);
    if (c == "turn" && rowArg && w.size() >= 3 && parseDouble(w[2], a) && (w.size() < 4 || parseInt(w[3], n)))
        panel_.turn(row, a, w.size() >= 4 ? n : 0);
    else if (c == "touch" && rowArg)
        panel_.touch(row);
    else if (c == "release" && w.size() == 2 && w[1] == "all")
        panel_.releaseAll();
    else if (c == "release" && rowArg)
        panel_.release(row);
    else if (c == "set" && rowArg && w.size() >= 3 && parseDouble(w[2], a))
        panel_.set(row, a);
    else if (c == "mode" && w.size() >= 2 && parseInt(w[1], n) && n >= 0 && n <= 11)
        panel_.setMode(n);
    else if (c == "dual" && w.size() >= 2 && parseOnOff(w[1], on))
        panel_.setDual(on);
    else if (c == "lamp")
        panel_.pressLamp();
    else if (c == "autogain" && w.size() >= 2 && parseOnOff(w[1], on))
        panel_.set(autoGainRow, on ? 255 : 0);
    else if (c == "highgain" && w.size() >= 2 && parseOnOff(w[1], on))
        panel_.set(highGainRow, on ? 1 : 0);
    else if (c == "brightness" && w.size() >= 2 && parseInt(w[1], n))
        panel_.set(brightnessRow, n);
    else if (c == "meter" && w.size() >= 2 && parseInt(w[1], n))
        panel_.set(meterRow, n);
    else if (c == "comp" && w.size() >= 3 && parseDouble(w[1], a) && parseDouble(w[2], b))
        panel_.setComp(a, b);
    else if (c == "program" && w.size() >= 2 && (w[1] == "sine" || w[1] == "off"))
        panel_.setProgram(w[1] == "sine");
    else if (c == "clip" && w.size() >= 2 && parseInt(w[1], n))
        panel_.setClip(n);
    else if (c == "balance" && w.size() >= 2 && parseDouble(w[1], a))
        panel_.setBalance(a);
    else
    {
        static const char* const panelWords[] = {"turn",  "touch", "release",  "set",      "mode",
                                                 "dual",  "lamp",  "autogain", "highgain", "brightness",
                                                 "meter", "comp",  "program",  "clip",     "balance"};
        for (const char* p : panelWords)
            if (c == p)
                return "error: bad arguments for " + c + " (try help)";
        handled = false;
        return {};
    }
    return "ok";
}

std::string Unit::unitCommand(const std::vector<std::string>& w, bool& handled)
{
    handled = true;
    const std::string& c = w[0];
    int n = 0;
    bool on = false;
    if (c == "help")
        return commandHelp();
    if (c == "status")
        return statusReport();
    if (c == "fault")
        return faultCommand(w);
    if (c == "faults")
    {
        std::string list;
        for (int i = 0; i < faultCount; ++i)
            list += std::string(faultName(static_cast<Fault>(i))) + (faults_[i] ? " on\n" : " off\n");
        return "ok\n" + list;
    }
    if (c == "vanish" || c == "return")
    {
        setFault(Fault::Vanish, c == "vanish");
        return vanished_ == (c == "vanish") ? "ok" : "error: " + startError();
    }
    if (c == "period" && w.size() >= 2 && parseInt(w[1], n) && n > 0)
    {
        periodMs_ = n;
        return "ok";
    }
    if (c == "datagrams" && w.size() >= 2 && parseOnOff(w[1], on))
    {
        logDatagrams_ = on;
        return "ok";
    }
    if (c == "period" || c == "datagrams")
        return "error: bad arguments for " + c + " (try help)";
    handled = false;
    return {};
}

std::string Unit::faultCommand(const std::vector<std::string>& w)
{
    bool on = false;
    const auto f = w.size() >= 2 ? faultFromName(w[1]) : std::nullopt;
    if (!f || w.size() < 3 || !parseOnOff(w[2], on))
        return "error: fault NAME on|off [ARG]; names: " + faultNames();
    int ms = 0;
    if (*f == Fault::Slow && w.size() >= 4 && parseInt(w[3], ms) && ms >= 0)
        slowByteMs_ = ms;
    if (*f == Fault::Serial && w.size() >= 4)
    {
        std::lock_guard<std::mutex> lock(alternateMutex_);
        alternateSerial_ = w[3];
    }
    setFault(*f, on);
    return fault(*f) == on ? "ok" : "error: " + startError();
}

std::string Unit::statusReport() const
{
    std::ostringstream out;
    out << "ok\nunit " << config_.address << " http " << config_.httpPort << " status-port "
        << config_.statusPort << " discovery " << config_.discoveryPort << " serial " << serial() << " name "
        << name() << "\n";
    out << "running " << (running_ ? "yes" : "no") << " vanished " << (vanished_ ? "yes" : "no") << " period "
        << periodMs_ << " datagrams " << datagrams_ << " discovery-replies " << discoveryReplies_ << "\n";
    out << "mode " << panel_.mode() << " dual " << (panel_.dual() ? "on" : "off") << " program "
        << (panel_.program() ? "sine" : "off") << " balance " << panel_.balanceText() << "\n";
    out << "faults:";
    for (int i = 0; i < faultCount; ++i)
        if (faults_[i])
            out << " " << faultName(static_cast<Fault>(i));
    out << "\nclients:";
    {
        std::lock_guard<std::mutex> lock(clientMutex_);
        for (const auto& [address, seen] : clients_)
            out << " " << net::addressText(address) << " (" << (nowMs() - seen) << " ms ago)";
    }
    out << "\n" << panel_.statusMessage(config_.statusPort) << "\n";
    for (int r = 0; r < rowCount; ++r)
    {
        const RowState s = panel_.row(r);
        out << "row " << r << " value " << s.value << " min " << s.min << " max " << s.max << " held "
            << s.held << "\n";
    }
    return out.str();
}

} // namespace morvane::sim
