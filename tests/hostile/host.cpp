/* SPDX-License-Identifier: MIT */
#include "hostile/host.h"

#include "support/phone.h"
#include "support/wait_until.h"
#include "tvlink/flags.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <memory>
#include <new>
#include <string>

#include <dirent.h>
#include <fcntl.h>
#include <malloc.h>
#include <netinet/tcp.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

extern "C" size_t __sanitizer_get_current_allocated_bytes() __attribute__((weak));

namespace
{

[[noreturn]] void give_up(const char *what)
{
    std::perror(what);
    std::abort();
}

/* ---- In the host's process */

Board *host_board = nullptr;

bool contains(const char *line, const char *text)
{
    return std::strstr(line, text) != nullptr;
}

void count_failed_send(const char *line)
{
    static const std::string stalled = ",errno=" + std::to_string(ETIMEDOUT) + "\n";
    static const std::string refused = ",errno=" + std::to_string(ENOBUFS) + "\n";
    host_board->stalled += contains(line, stalled.c_str()) ? 1 : 0;
    host_board->refused += contains(line, refused.c_str()) ? 1 : 0;
}

void count_line(int, const char *line, void *)
{
    if (std::strcmp(line, "queue is full.\n") == 0) {
        host_board->full_lines++;
    } else if (contains(line, "groupcast notfit")) {
        host_board->announces = 1;
    } else if (contains(line, "IP_ADD_MEMBERSHIP")) {
        host_board->searchable = 1;
    } else if (contains(line, "err:socket_send()")) {
        count_failed_send(line);
    }
}

/* Gives the request back, when it is let. */
int answer_call(char *answer, const char *request)
{
    host_board->calls++;
    while (!wait_until([] { return host_board->hold == 0 || host_board->stop != 0; })) {
    }
    std::snprintf(answer, IPP_RPC_ANSWER_SIZE, "%s", request);
    return 1;
}

/* A picture whose every byte tells its place. */
void *give_capture(int16_t, uint16_t, uint32_t *size)
{
    static std::vector<uint8_t> picture;
    for (size_t i = picture.size(); i < host_board->capture_size; i++) {
        picture.push_back(static_cast<uint8_t>(i % 251));
    }
    *size = static_cast<uint32_t>(picture.size());
    return picture.data();
}

/* As many numbers as were asked for, each the one that the text begins with. */
uint32_t *give_numbers(uint32_t *count, const char *request)
{
    host_board->calls++;
    *count = host_board->answer_size / 4;
    uint32_t *numbers = static_cast<uint32_t *>(std::malloc(size_t{*count} * 4));
    if (numbers != nullptr) {
        std::fill_n(numbers, *count, static_cast<uint32_t>(std::strtoul(request, nullptr, 10)));
    }
    return numbers;
}

/* Cells of 256 bytes, each with a text and zeros. */
std::string channels(size_t size)
{
    std::string list(size, '\0');
    for (size_t at = 0; at + 256 <= size; at += 256) {
        const uint32_t number = static_cast<uint32_t>(at / 256);
        std::snprintf(&list[at], 256, "%u channel %u http://streams.example/%08x%08x%08x.ts",
                      number, number * 2654435761U, number * 40503U, number * 2246822519U,
                      number * 3266489917U);
    }
    return list;
}

void *give_list(uint16_t *count)
{
    static const std::string list = channels(host_board->list_size);
    host_board->calls++;
    const uint32_t header[] = {1, static_cast<uint32_t>(list.size())};
    char *block = static_cast<char *>(std::malloc(sizeof header + list.size()));
    if (block == nullptr) {
        return nullptr;
    }
    std::memcpy(block, header, sizeof header);
    std::memcpy(block + sizeof header, list.data(), list.size());
    *count = 1;
    return block + sizeof header;
}

/* The key's low bits, so that an answer is known to be that key's. */
int accept_key(uint32_t key, uint32_t)
{
    return static_cast<int>(key % 128);
}

void report_event(uint64_t due_ns, uint32_t number)
{
    uint8_t data[EVENT_DATA_SIZE];
    const EventHead head = {due_ns, number};
    std::memset(data, static_cast<int>(number % 251), sizeof data);
    std::memcpy(data, &head, sizeof head);
    ipp_report_dev_event(0x7000, number, nullptr, data, sizeof data);
    host_board->reported++;
}

size_t allocated_bytes()
{
    if (__sanitizer_get_current_allocated_bytes != nullptr) {
        return __sanitizer_get_current_allocated_bytes();
    }
    const struct mallinfo2 info = mallinfo2();
    return info.uordblks + info.hblkhd;
}

uint32_t allocated_kb()
{
    return static_cast<uint32_t>(allocated_bytes() / 1024);
}

void watch_memory()
{
    if (host_board->watch != 0) {
        host_board->most_kb = std::max(host_board->most_kb.load(), allocated_kb());
    }
}

/* Each event when it is due; those that were held up follow at once. */
void report_events()
{
    uint64_t due_ns = monotonic_ns();
    for (uint32_t rate = host_board->event_rate; rate != 0; rate = host_board->event_rate) {
        if (wait_until([&] {
                watch_memory();
                return monotonic_ns() >= due_ns || host_board->event_rate != rate;
            }) &&
            host_board->event_rate == rate) {
            report_event(due_ns, host_board->reported);
            due_ns += 1000000000 / rate;
        }
    }
}

bool is_asked_to_measure()
{
    return host_board->measure != host_board->measured;
}

void measure_if_asked()
{
    const uint32_t asked = host_board->measure;
    if (is_asked_to_measure()) {
        malloc_trim(0);
        host_board->allocated_kb = allocated_kb();
        host_board->measured = asked;
    }
}

void hold_descriptors(size_t count)
{
    for (size_t i = 0; i < count; i++) {
        if (open("/dev/null", O_RDONLY | O_CLOEXEC) < 0) {
            give_up("open");
        }
    }
}

/* Something happens, and the server thread's pass is over. */
void stop_service()
{
    __atomic_store_n(&g_thread_run, uint8_t{0}, __ATOMIC_RELEASE);
    Phone visitor{Phone::Later()};
    visitor.try_connect();
    ipp_finish();
}

void run_host(const Run &run, size_t descriptors_besides)
{
    static TvMethodTable table;
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    mallopt(M_ARENA_MAX, 1); /* not one for each of the threads that happen to overlap */
    hold_descriptors(descriptors_besides);
    table.get_screen_shot2 = give_capture;
    table.get_tv_vodintarray2 = give_numbers;
    table.get_tv_channelcode = give_list;
    table.set_tv_key = accept_key;
    tv_ippRpcFunSet = answer_call;
    register_tv_method(&table);
    ipp_set_log_sink(count_line, nullptr);
    ipp_set_guard(&run.guard);
    if (ipp_init(1, "TV", "SN") != IPP_OK) {
        give_up("ipp_init");
    }
    host_board->runs = 1;
    while (host_board->stop == 0) {
        report_events();
        measure_if_asked();
        wait_until([] {
            watch_memory();
            return host_board->stop != 0 || host_board->event_rate != 0 || is_asked_to_measure();
        });
    }
    stop_service();
}

/* ---- In the scenario's */

Board *new_board()
{
    void *place =
        mmap(nullptr, sizeof(Board), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (place == MAP_FAILED) {
        give_up("mmap");
    }
    return new (place) Board();
}

pid_t start_process(const Run &run, size_t descriptors_besides, Board *board)
{
    std::fflush(stdout);
    const pid_t id = fork();
    if (id < 0) {
        give_up("fork");
    }
    if (id == 0) {
        host_board = board;
        run_host(run, descriptors_besides);
        std::exit(0);
    }
    return id;
}

std::string folder(pid_t id)
{
    return "/proc/" + std::to_string(id);
}

size_t entries_in(const std::string &path)
{
    size_t count = 0;
    const std::unique_ptr<DIR, int (*)(DIR *)> opened(opendir(path.c_str()), closedir);
    while (const dirent *entry = opened == nullptr ? nullptr : readdir(opened.get())) {
        count += entry->d_name[0] != '.' ? 1 : 0;
    }
    return count;
}

size_t status_number(pid_t id, const std::string &name)
{
    const std::unique_ptr<FILE, int (*)(FILE *)> file(
        std::fopen((folder(id) + "/status").c_str(), "re"), std::fclose);
    char line[256];
    while (file != nullptr && std::fgets(line, sizeof line, file.get()) != nullptr) {
        if (std::strncmp(line, name.c_str(), name.size()) == 0) {
            return std::strtoul(line + name.size(), nullptr, 10);
        }
    }
    return 0;
}

} // namespace

uint64_t monotonic_ns()
{
    timespec now = {};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<uint64_t>(now.tv_sec) * 1000000000 + static_cast<uint64_t>(now.tv_nsec);
}

size_t open_connections()
{
    const std::unique_ptr<FILE, int (*)(FILE *)> file(std::fopen("/proc/self/net/tcp", "re"),
                                                      std::fclose);
    char line[512];
    size_t count = 0;
    while (file != nullptr && std::fgets(line, sizeof line, file.get()) != nullptr) {
        unsigned port = 0;
        unsigned state = 0;
        const bool read = std::sscanf(line, "%*d: %*8x:%4x %*8x:%*4x %2x", &port, &state) == 2;
        count += read && port == IPP_CONTROL_PORT && state == TCP_ESTABLISHED ? 1 : 0;
    }
    return count;
}

std::string text(const Holdings &holdings)
{
    char line[128];
    std::snprintf(line, sizeof line, "%zu descriptors, %zu threads, %zu KB (%zu KB resident)",
                  holdings.descriptors, holdings.threads, holdings.allocated_kb,
                  holdings.resident_kb);
    return line;
}

Host::Host(const Run &run, size_t descriptors_besides)
    : run_(run), board_(new_board()), id_(start_process(run, descriptors_besides, board_))
{
    /* The threads of the discovery have what they need: nothing more will be opened by itself. */
    if (!wait_until([this] {
            return board_->runs != 0 && board_->announces != 0 && board_->searchable != 0;
        })) {
        give_up("the host does not start");
    }
}

Host::~Host()
{
    board_->stop = 1;
    board_->event_rate = 0;
    int status = 0;
    const bool ended = wait_until([&] { return waitpid(id_, &status, WNOHANG) == id_; });
    if (!ended) {
        kill(id_, SIGKILL);
        waitpid(id_, &status, 0);
    }
    holds(run_, ended && status == 0, "the host ends by itself and well (%s, status %d)",
          ended ? "ended" : "killed", status);
    munmap(board_, sizeof *board_);
}

Board &Host::board() const
{
    return *board_;
}

pid_t Host::id() const
{
    return id_;
}

size_t Host::descriptors() const
{
    return entries_in(folder(id_) + "/fd");
}

Holdings Host::holdings() const
{
    const uint32_t number = ++board_->measure;
    if (!wait_until([&] { return board_->measured == number; })) {
        give_up("the host does not answer");
    }
    return {descriptors(), status_number(id_, "Threads:"), status_number(id_, "VmRSS:"),
            board_->allocated_kb};
}

bool Host::wait_for_no_more_than(const Holdings &before, size_t spare_kb,
                                 std::chrono::seconds deadline) const
{
    return wait_until(
        [&] {
            const Holdings now = holdings();
            return now.descriptors <= before.descriptors && now.threads <= before.threads &&
                   now.allocated_kb <= before.allocated_kb + spare_kb;
        },
        deadline);
}
