#include <curl/curl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/signal_set.hpp>
#include <clocale>
#include <csignal>
#include <cstdlib>
#include <exception>
#include <iostream>
#include <string_view>
#include <utility>
#include <vector>

#include "viewerctl/ViewerFinding.h"
#include "viewerctl/ViewerFrameCommand.h"
#include "viewerctl/ViewerHostClient.h"
#include "viewerctl/ViewerHostDoctor.h"
#include "viewerctl/ViewerInvocation.h"
#include "viewerctl/ViewerListCommand.h"
#include "viewerctl/ViewerMachineDoctor.h"
#include "viewerctl/ViewerMetricsCommand.h"
#include "viewerctl/ViewerStreamCommand.h"
#include "viewerctl/ViewerWallCommand.h"
#include "viewerctl/ViewerWatchCommand.h"

namespace velmora {

namespace {

ViewerConsole consoleOfProcess() {
    const bool isTerminal = ::isatty(STDOUT_FILENO) == 1;
    // NOLINTNEXTLINE(concurrency-mt-unsafe): nothing changes the environment.
    const char* const terminal = std::getenv("TERM");
    const bool isDumb = terminal == nullptr || std::string_view(terminal) == "dumb";
    ViewerConsole console{ViewerLanguage::ofEnvironment(), std::cout, std::cerr};
    console.isTerminal = isTerminal;
    // NOLINTNEXTLINE(concurrency-mt-unsafe): nothing changes the environment.
    console.showsColours = isTerminal && !isDumb && std::getenv("NO_COLOR") == nullptr;
    console.showsProgress = ::isatty(STDERR_FILENO) == 1 && !isDumb;
    return console;
}

/// As many hosts at once as the system allows.
void raiseDescriptorLimit() {
    rlimit limit{};
    if (::getrlimit(RLIMIT_NOFILE, &limit) == 0) {
        limit.rlim_cur = limit.rlim_max;
        (void)::setrlimit(RLIMIT_NOFILE, &limit);  // fewer at once is slower, nothing else
    }
}

/// Ends as whom the signal has ended, so that a shell's loop ends, too.
[[noreturn]] void endBySignal(int number) {
    (void)std::signal(number, SIG_DFL);
    (void)std::raise(number);
    std::abort();
}

/// One run of the program.
class Program final {
  public:
    Program(ViewerInvocation invocation, const ViewerConsole& console)
        : console_(console),
          client_(loop_, invocation.limit),
          signals_(loop_),
          invocation_(std::move(invocation)) {}

    int run() {
        for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
            struct sigaction before{};
            // Who has switched one off, such as nohup, means it.
            if (::sigaction(number, nullptr, &before) == 0 && before.sa_handler != SIG_IGN) {
                signals_.add(number);
            }
        }
        signals_.async_wait([this](boost::system::error_code error, int number) {
            if (!error) {
                endingSignal_ = number;
                client_.stop();
            }
        });
        boost::asio::co_spawn(loop_, perform(),
                              [this](const std::exception_ptr& exception, ViewerExit exit) {
                                  if (exception) {
                                      std::rethrow_exception(exception);
                                  }
                                  exit_ = exit;
                                  signals_.cancel();
                              });
        loop_.run();
        console_.output.flush();
        if (endingSignal_ != 0) {
            endBySignal(endingSignal_);
        }
        if (!console_.output.good()) {
            console_.errors << "velmora-viewerctl: "
                            << console_.say("the output cannot be written", "вывод не записывается")
                            << '\n';
            exit_ = ViewerExit::someFailed;
        }
        return static_cast<int>(exit_);
    }

  private:
    ViewerTask<ViewerExit> perform() {
        switch (invocation_.command) {
            case ViewerInvocation::Command::list:
                return list();
            case ViewerInvocation::Command::frame:
                return frame();
            case ViewerInvocation::Command::doctor:
                return examine();
            case ViewerInvocation::Command::stream:
                return stream();
            case ViewerInvocation::Command::metrics:
                return serveMetrics();
            case ViewerInvocation::Command::wall:
                return showWall();
            case ViewerInvocation::Command::watch:
                return watch();
        }
        std::abort();
    }

    ViewerTask<ViewerExit> list() {
        ViewerListCommand command(loop_, client_, console_, invocation_.hosts,
                                  invocation_.isForPrograms);
        co_return co_await command.run();
    }

    ViewerTask<ViewerExit> frame() {
        ViewerFrameCommand::Options options{invocation_.hosts.front().address, invocation_.display,
                                            invocation_.file, invocation_.waitsForChange};
        ViewerFrameCommand command(client_, console_, std::move(options));
        co_return co_await command.run();
    }

    ViewerTask<ViewerExit> examine() {
        std::vector<ViewerFinding> findings;
        if (invocation_.hosts.empty()) {
            ViewerMachineDoctor doctor(client_, console_);
            findings = co_await doctor.examine();
        } else {
            ViewerHostDoctor doctor(client_, console_, invocation_.hosts.front().address);
            findings = co_await doctor.examine();
        }
        if (!client_.isStopped()) {
            console_.output << (invocation_.isForPrograms
                                    ? ViewerFindings::json(findings)
                                    : ViewerFindings::table(findings, console_));
        }
        co_return ViewerFindings::exitOf(findings);
    }

    ViewerTask<ViewerExit> stream() {
        ViewerStreamCommand::Options options{invocation_.hosts.front().address, invocation_.display,
                                             invocation_.rate, invocation_.port};
        ViewerStreamCommand command(loop_, client_, console_, std::move(options));
        co_return co_await command.run();
    }

    ViewerTask<ViewerExit> serveMetrics() {
        ViewerMetricsCommand command(loop_, client_, console_,
                                     invocation_.port.value_or(ViewerMetricsCommand::defaultPort));
        co_return co_await command.run();
    }

    ViewerTask<ViewerExit> showWall() {
        ViewerWallCommand::Options options{
            invocation_.hosts, ViewerLocalServer::loopback(invocation_.port.value_or(0)),
            !invocation_.isWithoutBrowser};
        if (!invocation_.address.empty()) {
            options.endpoint.address(boost::asio::ip::make_address(invocation_.address));
        }
        ViewerWallCommand command(loop_, client_, console_, std::move(options));
        co_return co_await command.run();
    }

    ViewerTask<ViewerExit> watch() {
        ViewerWatchCommand::Options options{invocation_.hosts.front().address, invocation_.display,
                                            invocation_.rate, invocation_.format};
        ViewerWatchCommand command(loop_, client_, console_, std::move(options));
        co_return co_await command.run();
    }

    const ViewerConsole& console_;
    boost::asio::io_context loop_{1};
    ViewerHostClient client_;
    boost::asio::signal_set signals_;
    const ViewerInvocation invocation_;
    ViewerExit exit_ = ViewerExit::someFailed;
    int endingSignal_ = 0;
};

}  // namespace

}  // namespace velmora

int main(int argumentCount, char** arguments) {
    using namespace velmora;
    try {
        // For the width of characters alone; where it is missing, all are taken for narrow.
        // NOLINTNEXTLINE(concurrency-mt-unsafe): nothing else runs yet.
        (void)std::setlocale(LC_CTYPE, "C.UTF-8");
        const ViewerConsole console = consoleOfProcess();
        auto reading = ViewerCommandLine::read(argumentCount, arguments, console);
        if (!reading.isComplete) {
            return static_cast<int>(reading.exit);
        }
        raiseDescriptorLimit();
        ::curl_global_init(CURL_GLOBAL_NOTHING);
        return Program(std::move(reading.invocation), console).run();
    } catch (const std::exception& exception) {
        std::cerr << "velmora-viewerctl: " << exception.what() << '\n';
        return static_cast<int>(ViewerExit::someFailed);
    }
}
