#include "viewerctl/ViewerTransfers.h"

#include <curl/curl.h>
#include <sys/epoll.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <boost/asio/posix/stream_descriptor.hpp>
#include <boost/system/error_code.hpp>
#include <cerrno>
#include <map>
#include <utility>

#include "viewerctl/ViewerAnswerCheck.h"
#include "viewerctl/ViewerAnswerHead.h"

namespace velmora {

namespace {

/// One transfer while it runs.
class Running final {
  public:
    Running(boost::asio::io_context& loop, const ViewerHostAddress& host,
            const ViewerAddresses& addresses, const std::string& target,
            std::chrono::milliseconds limit)
        : ended(loop), easy_(::curl_easy_init()) {
        set(CURLOPT_URL, ("http://" + host.authority() + target).c_str());
        setManners();
        set(CURLOPT_TIMEOUT_MS, static_cast<long>(std::max<std::int64_t>(limit.count(), 1)));
        set(CURLOPT_CONNECTTIMEOUT_MS, static_cast<long>(std::max<std::int64_t>(limit.count(), 1)));
        if (!addresses.empty()) {
            std::string entry = host.authority() + ":";
            for (const std::string& address : addresses) {
                entry += (entry.ends_with(':') ? "" : ",") + address;
            }
            addresses_ = ::curl_slist_append(nullptr, entry.c_str());
            set(CURLOPT_RESOLVE, addresses_);
        }
        set(CURLOPT_HEADERFUNCTION, &Running::takeHead);
        set(CURLOPT_HEADERDATA, this);
        set(CURLOPT_WRITEFUNCTION, &Running::takeBody);
        set(CURLOPT_WRITEDATA, this);
    }
    ~Running() {
        ::curl_easy_cleanup(easy_);
        ::curl_slist_free_all(addresses_);
    }
    Running(const Running&) = delete;
    Running& operator=(const Running&) = delete;

    CURL* easy() const { return easy_; }

    void end(CURLcode code) {
        result.failure = failureOf(code);
        result.timings.connect = time(CURLINFO_CONNECT_TIME_T);
        result.timings.firstByte = time(CURLINFO_STARTTRANSFER_TIME_T);
        result.timings.total = time(CURLINFO_TOTAL_TIME_T);
        ended.set();
    }

    ViewerTransfer result;
    ViewerEvent ended;

  private:
    template <typename Value>
    void set(CURLoption option, Value value) {
        // Fails only for an option that the library lacks or when memory runs out.
        (void)::curl_easy_setopt(easy_, option, value);
    }

    void setManners() {
        set(CURLOPT_PROTOCOLS_STR, "http");
        set(CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_1_1));
        set(CURLOPT_USERAGENT, "velmora-viewerctl");
        set(CURLOPT_PROXY, "");
        set(CURLOPT_NOPROXY, "*");
        set(CURLOPT_FOLLOWLOCATION, 0L);
        set(CURLOPT_HTTP_CONTENT_DECODING, 0L);
        set(CURLOPT_HTTP_TRANSFER_DECODING, 0L);
        set(CURLOPT_HTTP09_ALLOWED, 0L);
        set(CURLOPT_FRESH_CONNECT, 1L);
        set(CURLOPT_FORBID_REUSE, 1L);
        set(CURLOPT_NOSIGNAL, 1L);
        set(CURLOPT_TCP_NODELAY, 1L);
        set(CURLOPT_MAXFILESIZE_LARGE, static_cast<curl_off_t>(ViewerAnswerCheck::longestBody));
    }

    static std::size_t takeHead(char* bytes, std::size_t, std::size_t size, void* self) {
        return static_cast<Running*>(self)->take(&ViewerTransfer::head, ViewerAnswerHead::longest,
                                                 {bytes, size});
    }
    static std::size_t takeBody(char* bytes, std::size_t, std::size_t size, void* self) {
        return static_cast<Running*>(self)->take(&ViewerTransfer::body,
                                                 ViewerAnswerCheck::longestBody, {bytes, size});
    }
    /// Takes nothing of what would make it too long, which ends the transfer.
    std::size_t take(std::string ViewerTransfer::* part, std::size_t longest,
                     std::string_view bytes) {
        if (bytes.size() > longest - (result.*part).size()) {
            return 0;
        }
        result.*part += bytes;
        return bytes.size();
    }

    std::chrono::microseconds time(CURLINFO info) const {
        curl_off_t microseconds = 0;
        (void)::curl_easy_getinfo(easy_, info, &microseconds);  // stays 0 where there is none
        return std::chrono::microseconds(microseconds);
    }

    std::optional<ViewerFailure> failureOf(CURLcode code) const {
        switch (code) {
            case CURLE_OK:
                return result.head.ends_with("\r\n\r\n") ? std::nullopt
                                                         : std::optional(ViewerFailure::brokeOff);
            case CURLE_ABORTED_BY_CALLBACK:
                return ViewerFailure::interrupted;
            case CURLE_COULDNT_RESOLVE_HOST:
                return ViewerFailure::noSuchName;
            case CURLE_COULDNT_CONNECT:
                return connectFailure();
            case CURLE_OPERATION_TIMEDOUT:
                return ViewerFailure::timedOut;
            case CURLE_GOT_NOTHING:
            case CURLE_PARTIAL_FILE:
            case CURLE_RECV_ERROR:
            case CURLE_SEND_ERROR:
                return ViewerFailure::brokeOff;
            default:
                return ViewerFailure::notAViewerHost;
        }
    }

    ViewerFailure connectFailure() const {
        long error = 0;
        (void)::curl_easy_getinfo(easy_, CURLINFO_OS_ERRNO, &error);  // stays 0 where there is none
        switch (error) {
            case ECONNREFUSED:
                return ViewerFailure::refused;
            case ETIMEDOUT:
                return ViewerFailure::timedOut;
            default:
                return ViewerFailure::noRoute;
        }
    }

    CURL* const easy_;
    curl_slist* addresses_ = nullptr;
};

/// Connections at once, all hosts together, that leave some descriptors to everything else.
long mostConnections() {
    constexpr rlim_t others = 64;
    rlimit limit{};
    (void)::getrlimit(RLIMIT_NOFILE, &limit);  // stays 0 where it fails, which is few
    constexpr rlim_t most = 4'096;
    return static_cast<long>(std::min(limit.rlim_cur > others ? limit.rlim_cur - others : 1, most));
}

}  // namespace

/// libcurl's transfers on the loop: its sockets are in one epoll, on which the loop waits.
class ViewerTransfers::Multi final {
  public:
    explicit Multi(boost::asio::io_context& loop)
        : loop_(loop), sockets_(loop, ::epoll_create1(EPOLL_CLOEXEC)), timer_(loop) {
        multi_ = ::curl_multi_init();
        ::curl_multi_setopt(multi_, CURLMOPT_SOCKETFUNCTION, &Multi::watch);
        ::curl_multi_setopt(multi_, CURLMOPT_SOCKETDATA, this);
        ::curl_multi_setopt(multi_, CURLMOPT_TIMERFUNCTION, &Multi::arm);
        ::curl_multi_setopt(multi_, CURLMOPT_TIMERDATA, this);
        ::curl_multi_setopt(multi_, CURLMOPT_MAX_TOTAL_CONNECTIONS, mostConnections());
    }
    ~Multi() { ::curl_multi_cleanup(multi_); }
    Multi(const Multi&) = delete;
    Multi& operator=(const Multi&) = delete;

    ViewerTask<ViewerTransfer> get(ViewerHostAddress host, ViewerAddresses addresses,
                                   std::string target, std::chrono::milliseconds limit) {
        const auto running = std::make_shared<Running>(loop_, host, addresses, target, limit);
        running_.emplace(running->easy(), running);
        ::curl_multi_add_handle(multi_, running->easy());
        awaitSockets();
        (void)co_await running->ended.wait();  // has no deadline of its own
        co_return std::move(running->result);
    }

    void stop() {
        while (!running_.empty()) {
            finish(running_.begin()->first, CURLE_ABORTED_BY_CALLBACK);
        }
        timer_.cancel();
    }

  private:
    static int watch(CURL*, curl_socket_t socket, int what, void* self, void*) {
        const int epoll = static_cast<Multi*>(self)->sockets_.native_handle();
        epoll_event event{};
        event.data.fd = socket;
        if (what == CURL_POLL_REMOVE) {
            // A socket that was closed before has left by itself.
            (void)::epoll_ctl(epoll, EPOLL_CTL_DEL, socket, &event);
            return 0;
        }
        event.events = ((what & CURL_POLL_IN) != 0 ? EPOLLIN : 0U) |
                       ((what & CURL_POLL_OUT) != 0 ? EPOLLOUT : 0U);
        const bool isKnown = ::epoll_ctl(epoll, EPOLL_CTL_MOD, socket, &event) == 0;
        return isKnown ? 0 : ::epoll_ctl(epoll, EPOLL_CTL_ADD, socket, &event);
    }

    static int arm(CURLM*, long milliseconds, void* self) {
        Multi& multi = *static_cast<Multi*>(self);
        if (milliseconds < 0) {
            multi.timer_.cancel();
            return 0;
        }
        multi.timer_.expires_after(std::chrono::milliseconds(milliseconds));
        multi.timer_.async_wait([&multi](boost::system::error_code error) {
            if (!error) {
                multi.act(CURL_SOCKET_TIMEOUT, 0);
            }
        });
        return 0;
    }

    /// While transfers run, the loop waits for their sockets.
    void awaitSockets() {
        if (isWaiting_ || running_.empty()) {
            return;
        }
        isWaiting_ = true;
        sockets_.async_wait(boost::asio::posix::stream_descriptor::wait_read,
                            [this](boost::system::error_code error) {
                                isWaiting_ = false;
                                if (!error) {
                                    takeEvents();
                                }
                                awaitSockets();
                            });
    }

    void takeEvents() {
        std::array<epoll_event, 64> events{};
        const int count = ::epoll_wait(sockets_.native_handle(), events.data(),
                                       static_cast<int>(events.size()), 0);
        for (int index = 0; index < count; ++index) {
            const epoll_event& event = events[static_cast<std::size_t>(index)];
            const int readable = (event.events & EPOLLIN) != 0 ? CURL_CSELECT_IN : 0;
            const int writable = (event.events & EPOLLOUT) != 0 ? CURL_CSELECT_OUT : 0;
            const int broken = (event.events & (EPOLLERR | EPOLLHUP)) != 0 ? CURL_CSELECT_ERR : 0;
            act(event.data.fd, readable | writable | broken);
        }
    }

    void act(curl_socket_t socket, int what) {
        int count = 0;
        ::curl_multi_socket_action(multi_, socket, what, &count);
        while (const CURLMsg* const message = ::curl_multi_info_read(multi_, &count)) {
            finish(message->easy_handle, message->data.result);
        }
    }

    void finish(CURL* easy, CURLcode code) {
        const auto found = running_.find(easy);
        ::curl_multi_remove_handle(multi_, easy);
        // Whoever waits for its end holds it, too.
        found->second->end(code);
        running_.erase(found);
        if (running_.empty()) {
            sockets_.cancel();
        }
    }

    boost::asio::io_context& loop_;
    boost::asio::posix::stream_descriptor sockets_;
    boost::asio::steady_timer timer_;
    CURLM* multi_ = nullptr;
    std::map<CURL*, std::shared_ptr<Running>> running_;
    bool isWaiting_ = false;
};

ViewerTransfers::ViewerTransfers(boost::asio::io_context& loop)
    : multi_(std::make_unique<Multi>(loop)) {}

ViewerTransfers::~ViewerTransfers() = default;

ViewerTask<ViewerTransfer> ViewerTransfers::get(ViewerHostAddress host, ViewerAddresses addresses,
                                                std::string target,
                                                std::chrono::milliseconds limit) {
    return multi_->get(std::move(host), std::move(addresses), std::move(target), limit);
}

void ViewerTransfers::stop() {
    multi_->stop();
}

std::string ViewerTransfers::percentEncoded(std::string_view text) {
    const std::unique_ptr<char, void (*)(void*)> encoded(
        ::curl_easy_escape(nullptr, text.data(), static_cast<int>(text.size())), &::curl_free);
    return encoded ? encoded.get() : "";
}

}  // namespace velmora
