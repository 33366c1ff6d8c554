/* SPDX-License-Identifier: MIT */
/* Searches for televisions, and connections to them. */
#include "doctor_collect.h"
#include "session.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <thread>

namespace ctl
{
namespace
{

constexpr size_t most_televisions = 32;

/* How long answers to the last search are waited for: televisions delay theirs by up to 350 ms; a
 * longer time-out allows for a slower network. */
uint32_t linger_ms(uint32_t timeout_ms)
{
    return 350 + timeout_ms / 5;
}

DoctorSearch search(const CpSearch &how, std::vector<CpTelevision> &found)
{
    DoctorSearch result;
    found.resize(most_televisions);
    size_t count = 0;
    errno = 0;
    result.made = true;
    result.status = cp_discover(&how, found.data(), found.size(), &count);
    result.error = result.status == CP_SYSTEM ? errno : 0;
    found.resize(count);
    return result;
}

DoctorTelevision &television_of(DoctorFacts &facts, const CpTelevision &found)
{
    for (DoctorTelevision &known : facts.televisions) {
        if (cp_television_address(&known.answer) == cp_television_address(&found) &&
            known.answer.port == found.port) {
            return known;
        }
    }
    DoctorTelevision added;
    added.answer = found;
    facts.televisions.push_back(added);
    return facts.televisions.back();
}

void search_all(uint32_t timeout_ms, DoctorFacts &facts)
{
    std::vector<CpTelevision> found;
    facts.search = search({nullptr, false, timeout_ms, 0, linger_ms(timeout_ms)}, found);
    for (const CpTelevision &television : found) {
        television_of(facts, television).by_multicast = true;
    }
}

void search_host(const std::string &host, uint32_t timeout_ms, DoctorFacts &facts)
{
    std::vector<CpTelevision> found;
    facts.host->search = search({host.c_str(), false, timeout_ms, 1, 0}, found);
    for (const CpTelevision &television : found) {
        television_of(facts, television).by_host = true;
    }
}

void make_contact(DoctorContact &contact, uint32_t timeout_ms)
{
    using Clock = std::chrono::steady_clock;
    const auto end = Clock::now() + std::chrono::milliseconds(timeout_ms);
    CpConnection *connection = nullptr;
    contact.connected = cp_connect(&connection, contact.host.c_str(), contact.port, timeout_ms);
    contact.error = contact.connected == CP_SYSTEM ? errno : 0;
    if (contact.connected == CP_OK) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now()).count();
        contact.heartbeat =
            cp_heartbeat(connection, static_cast<uint32_t>(std::max<decltype(left)>(left, 1)));
    }
    cp_disconnect(connection);
}

/* Fills in the places to connect to, and lists them. */
std::vector<DoctorContact *> contacts(DoctorFacts &facts)
{
    std::vector<DoctorContact *> list;
    for (DoctorTelevision &television : facts.televisions) {
        const CpTelevision &answer = television.answer;
        const uint32_t address = cp_television_address(&answer);
        television.contact = {address_text(address), answer.port};
        list.push_back(&television.contact);
        if (answer.source != address) {
            television.at_source = {address_text(answer.source), answer.port};
            list.push_back(&*television.at_source);
        }
    }
    if (facts.host) {
        list.push_back(&facts.host->contact);
    }
    return list;
}

} // namespace

void doctor_search(const Settings &settings, DoctorFacts &facts)
{
    const bool has_host = !settings.host.empty();
    const uint32_t timeout_ms = to_milliseconds(settings.timeout) / (has_host ? 2 : 1);
    if (has_host) {
        const uint16_t usual = CP_CONTROL_PORT;
        const uint16_t port = settings.port != 0 ? settings.port : usual;
        facts.host.emplace();
        facts.host->contact = {settings.host, port};
    }
    if (facts.answer_port.error != 0) {
        return;
    }
    search_all(timeout_ms, facts);
    if (has_host) {
        search_host(settings.host, timeout_ms, facts);
    }
}

void doctor_contact(const Settings &settings, DoctorFacts &facts)
{
    const uint32_t timeout_ms = to_milliseconds(settings.timeout);
    std::vector<std::thread> threads;
    for (DoctorContact *contact : contacts(facts)) {
        threads.emplace_back([=] { make_contact(*contact, timeout_ms); });
    }
    for (std::thread &thread : threads) {
        thread.join();
    }
}

} // namespace ctl
