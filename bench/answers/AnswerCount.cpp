// Counts how many clients of each kind get the whole answer of a host, and its end in order:
//   answer_count ADDRESS PORT TARGET ANSWERS CLIENTS [KIND…]
// ANSWERS for each kind, by CLIENTS of them at a time. Fails when one is missing.

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <charconv>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace {

constexpr int limitSeconds = 60;

struct Kind final {
    std::string name;
    std::string request;
    /// Sent up to 3 ms behind the request, by which time it may have been answered.
    std::string late;
    std::string_view status;
};

std::vector<Kind> kindsOf(const std::string& target) {
    const std::string head = "GET " + target + " HTTP/1.1\r\nHost: host\r\n\r\n";
    const std::string upload = "POST " + target + " HTTP/1.1\r\nContent-Length: 8388608\r\n\r\n" +
                               std::string(8UL * 1024 * 1024, 'u');
    return {{"plain", head, "", "200"},
            {"late", head, std::string(100, 'l'), "200"},
            {"pipelined", head + head + head, "", "200"},
            {"upload", upload, "", "405"},
            {"endless-head", "GET /" + std::string(256UL * 1024, 'a'), "", "431"}};
}

bool send(int descriptor, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t count = ::send(descriptor, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (count <= 0) {
            return false;
        }
        bytes.remove_prefix(static_cast<std::size_t>(count));
    }
    return true;
}

/// Whether it is an answer of that status with as many bytes as it announces.
bool isWhole(std::string_view answer, std::string_view status) {
    constexpr std::string_view version = "HTTP/1.1 ";
    constexpr std::string_view field = "Content-Length: ";
    const std::size_t end = answer.find("\r\n\r\n");
    const std::size_t found = answer.find(field);
    if (!answer.starts_with(version) || end == std::string_view::npos ||
        answer.substr(version.size(), status.size()) != status || found > end) {
        return false;
    }
    std::size_t length = 0;
    const std::string_view digits = answer.substr(found + field.size());
    (void)std::from_chars(digits.data(), digits.data() + digits.size(), length);  // 0 fails below
    return answer.size() == end + 4 + length;
}

bool isAnswered(const sockaddr_in& host, const Kind& kind, std::chrono::microseconds lateness) {
    const int descriptor = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const timeval limit{limitSeconds, 0};
    ::setsockopt(descriptor, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    ::setsockopt(descriptor, SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit);
    bool isGood = ::connect(descriptor, reinterpret_cast<const sockaddr*>(&host), sizeof host) == 0;
    // A host that does not want all of a request may end before it is sent: the answer counts.
    if (isGood && send(descriptor, kind.request) && !kind.late.empty()) {
        std::this_thread::sleep_for(lateness);
        (void)send(descriptor, kind.late);
    }
    std::string answer;
    std::array<char, 64UL * 1024> buffer;
    ssize_t count = 0;
    while (isGood && (count = ::recv(descriptor, buffer.data(), buffer.size(), 0)) > 0) {
        answer.append(buffer.data(), static_cast<std::size_t>(count));
    }
    ::close(descriptor);
    return isGood && count == 0 && isWhole(answer, kind.status);
}

int count(const sockaddr_in& host, const Kind& kind, int answers, int clients) {
    constexpr int latenessSteps = 31;
    std::atomic<int> begun{0};
    std::atomic<int> answered{0};
    {
        std::vector<std::jthread> threads;
        threads.reserve(static_cast<std::size_t>(clients));
        for (int i = 0; i < clients; ++i) {
            threads.emplace_back([&] {
                for (int next = begun++; next < answers; next = begun++) {
                    const std::chrono::microseconds lateness(100 * (next % latenessSteps));
                    answered += isAnswered(host, kind, lateness) ? 1 : 0;
                }
            });
        }
    }
    return answered;
}

}  // namespace

int main(int argumentCount, char** arguments) {
    constexpr int leastArguments = 6;
    if (argumentCount < leastArguments) {
        std::cerr << "answer_count ADDRESS PORT TARGET ANSWERS CLIENTS [KIND…]\n";
        return 2;
    }
    sockaddr_in host{};
    host.sin_family = AF_INET;
    host.sin_port = htons(static_cast<std::uint16_t>(std::atoi(arguments[2])));
    ::inet_pton(AF_INET, arguments[1], &host.sin_addr);
    const int answers = std::atoi(arguments[4]);
    const std::vector<std::string_view> wanted(arguments + leastArguments,
                                               arguments + argumentCount);
    bool isComplete = true;
    for (const Kind& kind : kindsOf(arguments[3])) {
        if (!wanted.empty() && std::ranges::find(wanted, kind.name) == wanted.end()) {
            continue;
        }
        const int whole = count(host, kind, answers, std::atoi(arguments[5]));
        std::printf("%-13s %d of %d answers\n", kind.name.c_str(), whole, answers);
        (void)std::fflush(stdout);  // only so that a reader sees the lines as they come
        isComplete = isComplete && whole == answers;
    }
    return isComplete ? 0 : 1;
}
