#include "mendloftctl/call_report.h"

#include <array>
#include <cstdio>

#include <nlohmann/json.hpp>

#include "common/system_text.h"
#include "common/text.h"
#include "mendloftctl/meanings.h"

namespace ctl {

using tools::SystemMessage;
using tools::SystemText;
using tools::ToUtf8;

namespace {

using Json = nlohmann::ordered_json;
using Kind = CallOutcome::Kind;

// The meaning of the result of a call whose function returned.
const Meaning& MeaningOf(const CallReport& report) {
    return MeaningOf(report.arguments.function->results, report.outcome.value);
}

std::string FunctionName(const CallReport& report) {
    return report.arguments.function->name;
}

// Windows' message for an outcome whose value is an error code.
std::string ErrorText(const CallReport& report) {
    return ToUtf8(SystemText(static_cast<DWORD>(report.outcome.value)));
}

// Exception codes are documented in this notation.
std::string Hexadecimal(std::int32_t value) {
    std::array<char, 16> text{};
    std::snprintf(text.data(), text.size(), "0x%08X", static_cast<unsigned>(value));
    return text.data();
}

// Some messages of Windows end with a full stop, and some without.
std::string Sentence(std::string text) {
    if (!text.ends_with('.')) text += '.';
    return text;
}

std::string MessageOn(std::int32_t result) {
    return ToUtf8(SystemMessage(static_cast<DWORD>(result)));
}

// What the exception tells, after the name of its type.
std::string DetailsOf(const CppException& exception) {
    const std::string message = exception.message.data();
    if (exception.hasResult) {
        return " with HRESULT " + Hexadecimal(exception.result) + ": " +
               Sentence(MessageOn(exception.result));
    }
    if (!message.empty()) return ": " + Sentence(message);
    if (TypeName(exception) == "std::bad_alloc") return ": there was not enough memory.";
    return ".";
}

std::string SentenceOn(const CppException& exception) {
    const std::string type = TypeName(exception);
    if (type.empty()) return "a C++ exception whose type cannot be read.";
    return "the C++ exception " + type + DetailsOf(exception);
}

Json ToJson(const CppException& exception) {
    const std::string type = TypeName(exception);
    Json json{{"type", type.empty() ? Json() : Json(type)}};
    if (exception.hasResult) {
        json["hresult"] = Hexadecimal(exception.result);
        json["message"] = MessageOn(exception.result);
    }
    return json;
}

const char* NameOf(TraceLine::Channel channel) {
    return channel == TraceLine::Channel::kDebuggerOutput ? "debugger output" : "standard output";
}

}  // namespace

ExitStatus StatusOf(const CallReport& report) {
    switch (report.outcome.kind) {
        case Kind::kReturned:
            return MeaningOf(report).status;
        case Kind::kLibraryNotLoaded:
        case Kind::kFunctionMissing:
            return ExitStatus::kLibraryUnusable;
        case Kind::kRaised:
            return ExitStatus::kCallRaised;
        case Kind::kCrashed:
            return ExitStatus::kCallCrashed;
        case Kind::kTimeLimitPassed:
            return ExitStatus::kTimeLimitPassed;
        case Kind::kInterrupted:
            return ExitStatus::kInterrupted;
        default:
            return ExitStatus::kRefusedByWindows;
    }
}

std::string SentenceOn(const CallReport& report) {
    const std::string library = ToUtf8(report.library);
    switch (report.outcome.kind) {
        case Kind::kReturned:
            return std::string(MeaningOf(report).sentence);
        case Kind::kLibraryNotLoaded:
            return "Windows cannot load " + library + ": " + ErrorText(report) +
                   " Name a 32-bit libmendloft.dll with --library.";
        case Kind::kFunctionMissing:
            return library + " has no function " + FunctionName(report) +
                   ": name a libmendloft.dll with --library.";
        case Kind::kRaised:
            return FunctionName(report) + " raised " + SentenceOn(report.outcome.exception) +
                   " Run it again with --trace.";
        case Kind::kCrashed:
            return FunctionName(report) + " crashed: its process ended with " +
                   Hexadecimal(report.outcome.value) + ". Run it again with --trace.";
        case Kind::kTimeLimitPassed:
            return FunctionName(report) + " was ended after " +
                   std::to_string(report.arguments.timeout.count()) +
                   " seconds, with every process that it had started. Allow more time with "
                   "--timeout.";
        case Kind::kInterrupted:
            return FunctionName(report) +
                   " was ended on request, with every process that it had started.";
        default:
            return "Windows cannot start the process for the call: " + ErrorText(report);
    }
}

std::string ToText(const CallReport& report) {
    return FunctionName(report) + "(" + std::to_string(report.arguments.argument) + ") returned " +
           std::to_string(report.outcome.value) + ": " + SentenceOn(report) + "\n";
}

Json ToJson(const CallReport& report) {
    const ExitStatus status = StatusOf(report);
    Json json{{"command", report.arguments.command},
              {"library", ToUtf8(report.library)},
              {"function", FunctionName(report)},
              {"argument", report.arguments.argument},
              {"isolated", report.arguments.isolated}};
    if (report.outcome.kind == Kind::kReturned) json["code"] = report.outcome.value;
    json["success"] = status == ExitStatus::kSuccess;
    json[report.outcome.kind == Kind::kReturned ? "meaning" : "error"] = SentenceOn(report);
    if (report.outcome.kind == Kind::kRaised) json["exception"] = ToJson(report.outcome.exception);
    json["status"] = static_cast<int>(status);
    // Without --trace the key is missing, so that an empty list means a call without lines.
    if (!report.arguments.trace) return json;
    json["trace"] = Json::array();
    for (const TraceLine& line : report.lines) {
        json["trace"].push_back({{"channel", NameOf(line.channel)}, {"text", ToUtf8(line.text)}});
    }
    return json;
}

std::string ToText(const TraceLine& line) {
    return std::string("[") + NameOf(line.channel) + "] " + ToUtf8(line.text) + "\n";
}

}  // namespace ctl
