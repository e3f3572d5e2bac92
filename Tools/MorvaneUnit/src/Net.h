// Small socket helpers of the unit: IPv4 only, every wait bounded.
#pragma once

#include <cstdint>
#include <string>

namespace morvane::sim::net
{

// Address in network byte order; false for anything but a dotted quad.
bool parseAddress(const std::string& text, uint32_t& address);
std::string addressText(uint32_t address);

// A UDP socket bound to address:port (port 0: any). -1 on failure, err says why.
int udpSocket(uint32_t address, uint16_t port, bool shared, std::string& err);
int tcpListener(uint32_t address, uint16_t port, std::string& err);
void closeFd(int& fd);

// poll for reading (or writing) for at most ms; true when ready.
bool waitReadable(int fd, int ms);
bool waitWritable(int fd, int ms);
bool sendAll(int fd, const char* data, size_t size, int timeoutMs);

// The network namespace of the calling thread: its inode, and an open descriptor of it.
unsigned long currentNetnsInode();
int openCurrentNetns();

} // namespace morvane::sim::net
