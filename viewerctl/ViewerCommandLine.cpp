#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>
#include <algorithm>
#include <boost/asio/ip/address.hpp>
#include <fstream>
#include <functional>
#include <iterator>
#include <sstream>
#include <stdexcept>
#include <utility>

#include "core/protocol/ViewerHostProtocolV1.h"
#include "viewerctl/ViewerInvocation.h"
#include "viewerctl/ViewerTerminalText.h"

namespace velmora::ViewerCommandLine {

namespace {

/// The command line as CLI11 fills it.
class Grammar final {
  public:
    explicit Grammar(const ViewerConsole& console)
        : console_(console),
          app_(say("Shows which displays Viewer Hosts have, and their pictures.",
                   "Показывает, какие дисплеи есть у Viewer Host, и их изображения.")) {
        app_.name("velmora-viewerctl");
        app_.require_subcommand(1);
        app_.option_defaults()->group(say("Options", "Параметры"));
        app_.set_help_flag("-h,--help", say("show this help and end", "показать эту справку"));
        app_.set_version_flag("--version", "velmora-viewerctl " VIEWER_VERSION,
                              say("show the version and end", "показать версию"));
        const auto labels = app_.get_formatter();
        labels->label("Usage", say("Usage", "Использование"));
        labels->label("OPTIONS", say("OPTIONS", "ПАРАМЕТРЫ"));
        labels->label("SUBCOMMAND", say("COMMAND", "КОМАНДА"));
        labels->label("SUBCOMMANDS", say("COMMAND", "КОМАНДА"));
        labels->label("Positionals", say("Arguments", "Аргументы"));
        labels->label("REQUIRED", say("(needed)", "(обязательно)"));
        addList();
        addFrame();
        addDoctor();
        addStream();
        addMetrics();
        addWatch();
        addWall();
    }

    Reading read(int argumentCount, const char* const* arguments) {
        Reading reading;
        try {
            app_.parse(backwards({arguments + 1, arguments + argumentCount}));
            takeHosts();
            checkOutput();
            invocation_.limit =
                std::chrono::milliseconds(static_cast<std::int64_t>(seconds_ * 1'000));
            reading.invocation = std::move(invocation_);
            reading.isComplete = true;
        } catch (const CLI::Success& wish) {
            (void)app_.exit(wish, console_.output, console_.errors);  // is no error
            reading.exit = ViewerExit::allGood;
        } catch (const CLI::ParseError& error) {
            console_.errors << "velmora-viewerctl: " << reasonOf(error) << '\n'
                            << say("Try 'velmora-viewerctl --help'.",
                                   "Справка: 'velmora-viewerctl --help'.")
                            << '\n';
        }
        return reading;
    }

  private:
    std::string say(std::string_view english, std::string_view russian) const {
        return std::string(console_.say(english, russian));
    }

    /// As CLI11 wants them. It takes what stands in brackets for a list, but not with a port
    /// behind.
    static std::vector<std::string> backwards(std::vector<std::string> arguments) {
        for (std::string& argument : arguments) {
            const auto address = ViewerHostAddress::parse(argument);
            if (argument.ends_with(']') && address) {
                argument += ":" + std::to_string(address->port);
            }
        }
        std::reverse(arguments.begin(), arguments.end());
        return arguments;
    }

    /// CLI11's own range has "nan" in it.
    CLI::Validator between(double least, double most) const {
        const std::string reason = say("is not between ", "не в пределах: ");
        return {[=](const std::string& text) {
                    double number = 0;
                    const bool isBetween = CLI::detail::lexical_cast(text, number) &&
                                           number >= least && number <= most;
                    std::ostringstream why;
                    why << text << " " << reason << least << " – " << most;
                    return isBetween ? std::string() : why.str();
                },
                ""};
    }

    /// A command, with the options that every one has.
    CLI::App& add(const std::string& name, const std::string& text,
                  ViewerInvocation::Command command) {
        CLI::App& added = *app_.add_subcommand(name, text);
        added.group(say("Commands", "Команды"));
        added.final_callback([this, command] { invocation_.command = command; });
        constexpr double shortest = 0.1;
        constexpr double longest = 600;
        added
            .add_option("--timeout", seconds_,
                        say("time for each request, in seconds (default 5)",
                            "время на каждый запрос, в секундах (по умолчанию 5)"))
            ->type_name(say("SECONDS", "СЕКУНДЫ"))
            ->check(between(shortest, longest));
        return added;
    }

    std::string hostText() const {
        return say("name, IPv4 or [IPv6] address, with :PORT where it is not 9090",
                   "имя, адрес IPv4 или [IPv6], с :ПОРТ, если он не 9090");
    }

    void addHosts(CLI::App& command) {
        command.add_option("host", hosts_, hostText())->type_name("HOST");
        command
            .add_option("--hosts", hostsFile_,
                        say("a file with one host a line, \"Name:\" before a group, # comments",
                            "файл: один хост в строке, «Имя:» перед группой, # комментарии"))
            ->type_name(say("FILE", "ФАЙЛ"));
    }

    void addJSON(CLI::App& command) {
        command.add_flag("--json", invocation_.isForPrograms, say("for programs", "для программ"));
    }

    void addList() {
        CLI::App& list = add("list", say("the displays of each host", "дисплеи каждого хоста"),
                             ViewerInvocation::Command::list);
        addHosts(list);
        addJSON(list);
    }

    CLI::Option* addDisplay(CLI::App& command) {
        command.add_option("host", host_, hostText())->type_name("HOST")->required();
        return command
            .add_option("display", invocation_.display,
                        say("the display's id, its name or its number in the list",
                            "идентификатор дисплея, его имя или номер в списке"))
            ->type_name("DISPLAY")
            ->required();
    }

    void addFrame() {
        CLI::App& frame = add(
            "frame",
            say("the newest picture of a display, as JPEG", "новейшее изображение дисплея, JPEG"),
            ViewerInvocation::Command::frame);
        addDisplay(frame);
        frame
            .add_option("-o,--output", invocation_.file,
                        say("the file to write; without it the picture goes to standard output",
                            "файл для записи; без него картинка идёт в стандартный вывод"))
            ->type_name(say("FILE", "ФАЙЛ"));
        frame.add_flag("--wait", invocation_.waitsForChange,
                       say("wait until the picture changes", "ждать, пока картинка изменится"));
    }

    void addDoctor() {
        CLI::App& doctor = add("doctor",
                               say("how it stands with a host, or with this machine without one",
                                   "что с хостом; без хоста — что с этой машиной"),
                               ViewerInvocation::Command::doctor);
        doctor.add_option("host", host_, hostText())->type_name("HOST");
        addJSON(doctor);
    }

    void addRate(CLI::App& command) {
        constexpr double slowest = 0.1;
        constexpr double fastest = ViewerHostProtocolV1::captureFramesPerSecond;
        command
            .add_option("--rate", invocation_.rate,
                        say("pictures a second, up to 25 (default 5)",
                            "изображений в секунду, до 25 (по умолчанию 5)"))
            ->type_name(say("NUMBER", "ЧИСЛО"))
            ->check(between(slowest, fastest));
    }

    void addWatch() {
        CLI::App& watch = add("watch",
                              say("a display live in this terminal; keys choose another",
                                  "дисплей в этом терминале; клавиши выбирают другой"),
                              ViewerInvocation::Command::watch);
        addDisplay(watch)->required(false);
        addRate(watch);
        watch
            .add_option_function<std::string>(
                "--format", [this](const std::string& name) { takeFormat(name); },
                say("how the terminal is told pictures: kitty, iterm, sixel or symbols; otherwise "
                    "as suits it",
                    "как передавать терминалу картинки: kitty, iterm, sixel или symbols; иначе "
                    "как ему подходит"))
            ->type_name(say("NAME", "ИМЯ"));
    }

    void takeFormat(const std::string& name) {
        for (const auto& [known, format] : viewerPictureFormats) {
            if (name == known) {
                invocation_.format = format;
            }
        }
        if (!invocation_.format) {
            throw CLI::ValidationError("--format", say("there is no ", "нет формата ") + name);
        }
    }

    void addStream() {
        CLI::App& stream = add("stream",
                               say("a display as a camera: multipart JPEG at a constant rate",
                                   "дисплей как камера: multipart JPEG с постоянной частотой"),
                               ViewerInvocation::Command::stream);
        addDisplay(stream);
        addRate(stream);
        addListen(stream, say("serve programs on this port of 127.0.0.1, not standard output",
                              "отдавать программам на этом порту 127.0.0.1, а не в вывод"));
    }

    void addMetrics() {
        CLI::App& metrics = add("metrics",
                                say("a Prometheus exporter: /probe?target=HOST",
                                    "экспортёр для Prometheus: /probe?target=HOST"),
                                ViewerInvocation::Command::metrics);
        addListen(metrics, say("the port on 127.0.0.1 (default 9091)",
                               "порт на 127.0.0.1 (по умолчанию 9091)"));
    }

    void addWall() {
        CLI::App& wall = add("wall",
                             say("every display of every host, live on a page in the browser",
                                 "все дисплеи всех хостов, вживую на странице в браузере"),
                             ViewerInvocation::Command::wall);
        addHosts(wall);
        addListen(wall, say("the page's port (default: any free one)",
                            "порт страницы (по умолчанию любой свободный)"));
        wall.add_flag("--no-browser", invocation_.isWithoutBrowser,
                      say("only tell the file to open; open no browser",
                          "только назвать файл, браузер не открывать"));
        wall.add_option(
                "--let-others-look", invocation_.address,
                say("serve the page on this address of this machine, over plain HTTP: everybody "
                    "who can reach it and learns the link, by listening on the network for "
                    "instance, sees all pictures",
                    "отдавать страницу на этом адресе этой машины по обычному HTTP: все, кому он "
                    "доступен и кто узнает ссылку, например подслушав сеть, увидят все "
                    "изображения"))
            ->type_name(say("ADDRESS", "АДРЕС"))
            ->check([this](const std::string& text) { return objectionTo(text); });
    }

    /// The page goes by the address, which therefore is one of its own, not all there are.
    std::string objectionTo(const std::string& address) const {
        boost::system::error_code error;
        const auto parsed = boost::asio::ip::make_address(address, error);
        return error || parsed.is_unspecified()
                   ? say("this is no address of a machine: ", "это не адрес машины: ") + address
                   : "";
    }

    void addListen(CLI::App& command, const std::string& text) {
        command.add_option("--listen", invocation_.port, text)->type_name(say("PORT", "ПОРТ"));
    }

    /// CLI11 says it in English alone, so in Russian only what it is about is taken over.
    std::string reasonOf(const CLI::ParseError& error) const {
        const std::string reason = ViewerTerminalText::safe(error.what());
        return say(reason, "неверная командная строка: " + reason);
    }

    bool needsHost() const {
        return invocation_.command != ViewerInvocation::Command::doctor &&
               invocation_.command != ViewerInvocation::Command::metrics;
    }

    void takeHosts() {
        if (!host_.empty()) {
            hosts_ = {host_};
        }
        for (const std::string& text : hosts_) {
            auto address = ViewerHostAddress::parse(text);
            if (!address) {
                throw CLI::ValidationError("HOST",
                                           say("this is no host: ", "это не хост: ") + text);
            }
            invocation_.hosts.emplace_back(std::move(*address), "");
        }
        if (!hostsFile_.empty()) {
            takeHostsFile();
        }
        if (invocation_.hosts.empty() && needsHost()) {
            throw CLI::ValidationError("HOST",
                                       say("name at least one host", "назовите хотя бы один хост"));
        }
    }

    /// A picture's bytes on a terminal help nobody, and it would obey some of them; a live picture
    /// elsewhere helps nobody either.
    void checkOutput() const {
        using Command = ViewerInvocation::Command;
        const bool isFrame = invocation_.command == Command::frame && invocation_.file.empty();
        const bool isStream = invocation_.command == Command::stream && !invocation_.port;
        if ((isFrame || isStream) && console_.isTerminal) {
            throw CLI::ValidationError(
                isFrame ? "--output" : "--listen",
                say("a terminal cannot show the picture: say where it goes",
                    "терминал не покажет картинку: укажите, куда её отдать"));
        }
        const bool isLive = invocation_.command == ViewerInvocation::Command::watch;
        if (isLive && !console_.isTerminal) {
            throw CLI::ValidationError(
                "watch", say("the output is not a terminal", "вывод идёт не в терминал"));
        }
    }

    void takeHostsFile() {
        // Longer than any list; what never ends, such as a device, is none.
        constexpr std::size_t longest = 1 << 20;
        std::ifstream file(hostsFile_, std::ios::binary);
        std::string text(longest, '\0');
        file.read(text.data(), static_cast<std::streamsize>(text.size()));
        text.resize(static_cast<std::size_t>(file.gcount()));
        if (!file.eof()) {
            throw CLI::ValidationError("--hosts",
                                       say("cannot be read: ", "не читается: ") + hostsFile_);
        }
        ViewerHostList list = ViewerHostList::parse(text);
        if (!list.badLines.empty()) {
            throw CLI::ValidationError("--hosts", hostsFile_ + ":" +
                                                      std::to_string(list.badLines.front()) + ": " +
                                                      say("this is no host", "это не хост"));
        }
        invocation_.hosts.insert(invocation_.hosts.end(),
                                 std::make_move_iterator(list.hosts.begin()),
                                 std::make_move_iterator(list.hosts.end()));
    }

    const ViewerConsole& console_;
    CLI::App app_;
    ViewerInvocation invocation_;
    /// Of a command for one host.
    std::string host_;
    std::vector<std::string> hosts_;
    std::string hostsFile_;
    double seconds_ = 5;
};

}  // namespace

Reading read(int argumentCount, const char* const* arguments, const ViewerConsole& console) {
    return Grammar(console).read(argumentCount, arguments);
}

}  // namespace velmora::ViewerCommandLine
