#include "mendloftctl/arguments.h"

#include <CLI/CLI.hpp>

#include "common/text.h"

namespace ctl {

using tools::FromUtf8;

namespace {

constexpr const char* kDescription =
    "Calls libmendloft.dll, which repairs the Windows side of Apple's device support, and reports "
    "the result.";
constexpr const char* kFooter =
    "The exit status is 0 only when the call reports success; docs/mendloftctl.md lists the others.";

CLI::App* AddCommand(CLI::App& parent, const std::string& name, const std::string& description) {
    CLI::App* const command = parent.add_subcommand(name, description);
    command->fallthrough();  // options may follow the command too
    return command;
}

// "usb, net, kis, rsm or appleusb"
std::string PackageNames() {
    const std::span<const LibraryFunction> functions = SetupFunctions();
    std::string names;
    for (const LibraryFunction& function : functions) {
        if (&function != &functions.front())
            names += &function == &functions.back() ? " or " : ", ";
        names += function.package;
    }
    return names;
}

// Describes the arguments to CLI11 and reads one set of them. While CLI11 reads, it writes options
// into the members and calls back for the command that it finds.
class Parser {
public:
    Parser() {
        app_.footer(kFooter);
        // CLI11 would report a missing command without naming the commands; Complete names them.
        app_.require_subcommand(0, 1);
        AddOptions();
        AddFolderCommands();
        AddSetup();
        AddPort();
        AddDiagnose();
    }
    // CLI11 holds pointers to the members.
    Parser(const Parser&) = delete;
    Parser& operator=(const Parser&) = delete;

    // To be called once: the result is moved out.
    ParsedArguments Parse(const std::vector<std::string>& arguments) {
        // CLI11 expects the arguments in reverse order.
        std::vector<std::string> reversed(arguments.rbegin(), arguments.rend());
        try {
            app_.parse(std::move(reversed));
        } catch (const CLI::CallForHelp&) {
            result_.help = app_.help();
            return std::move(result_);
        } catch (const CLI::ParseError& error) {
            result_.problem = error.what();
            return std::move(result_);
        }
        Complete();
        return std::move(result_);
    }

private:
    void AddOptions() {
        Arguments& arguments = result_.arguments;
        app_.add_flag("--json", arguments.json, "Print the result as one JSON document");
        app_.add_option("--library", library_,
                        "The DLL to call, instead of libmendloft.dll beside this program");
        app_.add_flag("--dry-run", arguments.dryRun, "Print what would be done, and do nothing");
        app_.add_flag("--trace", arguments.trace,
                      "Show the library's diagnostic lines on standard error as they arrive");
        auto* const isolated =
            app_.add_flag("--isolated", arguments.isolated,
                          "Call with a private temporary directory and a time limit (recommended)");
        app_.add_option("--timeout", timeout_,
                        "The time limit of an isolated call in seconds; " +
                            std::to_string(arguments.timeout.count()) + " by default")
            ->check(CLI::Range(1U, 86'400U))
            ->needs(isolated);
    }

    void AddFolderCommands() {
        AddCommand(app_, "repair", "Rebuild the driver-store folders of the two older packages")
            ->callback([this] { Choose("repair", kMendloftFolder, 1); });
        AddCommand(app_, "remove", "Remove those driver-store folders")->callback([this] {
            Choose("remove", kMendloftFolder, 0);
        });
    }

    void AddSetup() {
        CLI::App* const setup = AddCommand(app_, "setup", "Install or remove one driver package");
        setup->require_subcommand(0, 1);
        setup->add_flag("--remove", remove_, "Remove the package instead of installing it");
        for (const LibraryFunction& function : SetupFunctions()) {
            const std::string package(function.package);
            CLI::App* const command =
                AddCommand(*setup, package, std::string("Call ") + function.name);
            // The callback runs after all options were read, so --remove may stand anywhere.
            command->callback([this, &function, package] {
                Choose("setup " + package + (remove_ ? " --remove" : ""), function,
                       remove_ ? 0 : 1);
            });
        }
    }

    void AddPort() {
        CLI::App* const command =
            AddCommand(app_, "port", "Test whether a program on this machine listens on a port");
        command->add_option("number", port_, "The port, 1 to 65535")
            ->required()
            ->check(CLI::Range(1, 65'535));
        command->callback([this] { Choose("port " + std::to_string(port_), kPortTest, port_); });
    }

    void AddDiagnose() {
        AddCommand(app_, "diagnose", "Print what a support ticket needs to know about this machine")
            ->callback([this] { result_.arguments.command = "diagnose"; });
    }

    void Choose(std::string command, const LibraryFunction& function, std::int32_t argument) {
        result_.arguments.command = std::move(command);
        result_.arguments.function = &function;
        result_.arguments.argument = argument;
    }

    // Reports a missing command, and converts what CLI11 could not write into the result itself.
    void Complete() {
        if (result_.arguments.command.empty()) {
            result_.problem = app_.got_subcommand("setup")
                                  ? "Name the driver package: " + PackageNames()
                                  : "Name a command: repair, remove, setup, port or diagnose";
        }
        result_.arguments.library = FromUtf8(library_);
        if (timeout_ != 0) result_.arguments.timeout = std::chrono::seconds(timeout_);
    }

    CLI::App app_{kDescription, "mendloftctl"};
    ParsedArguments result_;
    std::string library_;
    unsigned timeout_ = 0;
    std::int32_t port_ = 0;
    bool remove_ = false;
};

}  // namespace

ParsedArguments ParseArguments(const std::vector<std::string>& arguments) {
    return Parser().Parse(arguments);
}

}  // namespace ctl
