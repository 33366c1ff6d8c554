/* SPDX-License-Identifier: MIT */
#include "identity.h"

#include <dirent.h>
#include <ifaddrs.h>
#include <linux/ethtool.h>
#include <linux/sockios.h>
#include <net/if.h>
#include <netinet/in.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>

#include "request_words.h"
#include "system.h"

namespace sim
{

using namespace tools;

namespace
{

/* ---- Hashing */

uint64_t fnv_1a(const std::string &text)
{
    uint64_t hash = 0xCBF29CE484222325;
    for (const char byte : text) {
        hash = (hash ^ static_cast<uint8_t>(byte)) * 0x100000001B3;
    }
    return hash;
}

/* Spreads the differences of similar texts over all bits. */
uint32_t mixed(uint64_t hash)
{
    hash = (hash ^ hash >> 33) * 0xFF51AFD7ED558CCD;
    hash = (hash ^ hash >> 33) * 0xC4CEB9FE1A85EC53;
    return static_cast<uint32_t>(hash ^ hash >> 33);
}

/* ---- The machine */

std::string first_line_of(const std::string &text)
{
    return text.substr(0, text.find('\n'));
}

std::string own_machine()
{
    try {
        return first_line_of(read_file("/etc/machine-id", 4096));
    } catch (const FileError &) {
        char name[256] = "";
        return gethostname(name, sizeof name - 1) == 0 ? name : "";
    }
}

/* ---- The network namespace */

bool is_same_file(const struct stat &one, const struct stat &other)
{
    return one.st_dev == other.st_dev && one.st_ino == other.st_ino;
}

/* Empty when it has none. */
std::string name_of_namespace()
{
    const std::string folder = "/run/netns";
    struct stat own = {};
    const std::unique_ptr<DIR, int (*)(DIR *)> entries(opendir(folder.c_str()), closedir);
    if (entries == nullptr || stat("/proc/thread-self/ns/net", &own) != 0) {
        return "";
    }
    while (const dirent *entry = readdir(entries.get())) {
        struct stat named = {};
        if (entry->d_name[0] != '.' && stat((folder + "/" + entry->d_name).c_str(), &named) == 0 &&
            is_same_file(own, named)) {
            return entry->d_name;
        }
    }
    return "";
}

/* The address with which the card was made, as digits; empty for an interface that is no card. */
std::string permanent_address(int socket, const char *interface)
{
    constexpr uint32_t address_size = 6;
    alignas(ethtool_perm_addr) uint8_t answer[sizeof(ethtool_perm_addr) + 32] = {};
    const ethtool_perm_addr question = {ETHTOOL_GPERMADDR, sizeof answer - sizeof question};
    memcpy(answer, &question, sizeof question);
    ifreq request = {};
    snprintf(request.ifr_name, sizeof request.ifr_name, "%s", interface);
    request.ifr_data = reinterpret_cast<char *>(answer);
    const bool known = ioctl(socket, SIOCETHTOOL, &request) == 0;
    const std::string address = hex_digits(answer + sizeof question, address_size);
    return known && address.find_first_not_of('0') != std::string::npos ? address : "";
}

/* Of the first card, in the order of the system; empty when there is none. */
std::string address_of_first_card()
{
    const Descriptor any(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    const std::unique_ptr<struct if_nameindex, void (*)(struct if_nameindex *)> interfaces(
        if_nameindex(), if_freenameindex);
    for (const struct if_nameindex *entry = interfaces.get();
         entry != nullptr && entry->if_index != 0; entry++) {
        std::string address = permanent_address(any.number, entry->if_name);
        if (!address.empty()) {
            return address;
        }
    }
    return "";
}

/* Of any interface but the loopback; empty when there is none. */
std::string first_ipv4_address()
{
    ifaddrs *list = nullptr;
    if (getifaddrs(&list) != 0) {
        return "";
    }
    const std::unique_ptr<ifaddrs, void (*)(ifaddrs *)> owner(list, freeifaddrs);
    for (const ifaddrs *entry = list; entry != nullptr; entry = entry->ifa_next) {
        if (entry->ifa_addr != nullptr && entry->ifa_addr->sa_family == AF_INET &&
            (entry->ifa_flags & IFF_LOOPBACK) == 0) {
            const void *address = entry->ifa_addr;
            return address_words(static_cast<const sockaddr_in *>(address)->sin_addr.s_addr);
        }
    }
    return "";
}

std::string own_network()
{
    std::string (*const sources[])() = {name_of_namespace, address_of_first_card,
                                        first_ipv4_address};
    for (std::string (*const source)() : sources) {
        std::string found = source();
        if (!found.empty()) {
            return found;
        }
    }
    return "";
}

} // namespace

Identity identity_of(const std::string &machine, const std::string &network)
{
    const uint32_t number = mixed(fnv_1a("tvlink-sim\n" + machine + "\n" + network));
    char name[32];
    char serial[32];
    snprintf(name, sizeof name, "tvlink-sim-%04x", unsigned{number >> 16});
    snprintf(serial, sizeof serial, "SIM-%08X", unsigned{number});
    return {name, serial};
}

Identity own_identity()
{
    return identity_of(own_machine(), own_network());
}

} // namespace sim
