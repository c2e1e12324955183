#include <CLI/CLI.hpp>
#include <algorithm>
#include <nlohmann/json.hpp>

#include "host/client/LabClient.h"
#include "host/tarvo/CameraAccess.h"
#include "host/tarvo/Commands.h"
#include "host/tarvo/Console.h"
#include "host/tarvo/ExitStatus.h"

namespace tarvo {
namespace {

using nlohmann::json;

constexpr std::chrono::seconds kLimit{30};
constexpr const char* kVariable = "TARVO_LAB_SOCKET";

/** Sends one command; a refusal of the lab is told and answered with kExitFailed. */
int sendCommand(const CommonOptions& common, const std::string& command, json& answer) {
    std::string path = common.labSocket;
    const char* fromEnvironment = ::getenv(kVariable);
    if (path.empty() && fromEnvironment != nullptr) path = fromEnvironment;
    if (path.empty()) {
        complain("say where the lab listens: --lab-socket PATH, the same as for 'tarvo helper' (or set {})",
                 kVariable);
        return kExitUsage;
    }
    LabClient lab;
    if (auto error = lab.open(path, kLimit)) {
        report(error);
        note("  Start a helper with 'tarvo helper --simulated --lab-socket {}'.", path);
        return exitStatusOf(error);
    }
    const auto line = lab.command(command, kLimit);
    if (!line.ok()) return report(line.error);
    answer = json::parse(line.value, nullptr, false);
    if (answer.is_discarded() || !answer.is_object()) {
        complain("the lab's answer is no JSON object: {}", line.value);
        return kExitFailed;
    }
    const auto ok = answer.find("ok");
    if (ok != answer.end() && ok->is_boolean() && ok->get<bool>()) return kExitOk;
    complain("the lab refuses: {}", answer.value("error", json("no reason given")).dump());
    return kExitFailed;
}

/** Prints the answer; a bare "ok" is silence. */
int runCommand(const CommonOptions& common, const json& command) {
    json answer;
    if (const int status = sendCommand(common, command.dump(), answer); status != kExitOk) return status;
    answer.erase("ok");
    if (!answer.empty()) say("{}", answer.dump(2));
    return kExitOk;
}

int runText(const CommonOptions& common, const std::string& text) {
    try {
        const auto command = json::parse(text);
        if (command.is_object()) return runCommand(common, command);
        complain("lab: a command is one JSON object, as {{\"cmd\":\"state\"}}");
    } catch (const json::parse_error& problem) {
        complain("lab: the command is no JSON at byte {}: {}", problem.byte, text);
    }
    return kExitUsage;
}

std::string plain(const json& value) {
    return value.is_string() ? value.get<std::string>() : value.dump();
}

std::string argumentsText(const json& arguments) {
    if (!arguments.is_object()) return arguments.is_null() ? "" : arguments.dump();
    std::string text;
    for (const auto& [name, value] : arguments.items())
        text += (text.empty() ? "" : " ") + name + "=" + plain(value);
    return text;
}

int runTrace(const CommonOptions& common, bool clears, bool isJson) {
    json command{{"cmd", "trace"}};
    if (clears) command["clear"] = true;
    json answer;
    if (const int status = sendCommand(common, command.dump(), answer); status != kExitOk) return status;
    const auto trace = answer.value("trace", json::array());
    if (trace.empty()) note("no calls yet");
    // Times count from the first call shown, in milliseconds: absolute ones tell people nothing.
    const double first = trace.empty() ? 0 : trace.front().value("us", 0.0);
    for (const auto& entry : trace) {
        if (isJson) {
            say("{}", entry.dump());
            continue;
        }
        say("{:>5} {:>10.3f} ms  {:<10} {:<32} {:<10} {}", plain(entry.value("seq", json())),
            (entry.value("us", 0.0) - first) / 1000, plain(entry.value("device", json())),
            plain(entry.value("call", json())), plain(entry.value("result", json())),
            argumentsText(entry.value("args", json())));
    }
    return kExitOk;
}

json withId(const char* command, const std::string& id) {
    return {{"cmd", command}, {"id", id}};
}

int runSet(const CommonOptions& common, const std::string& id, const std::string& assignment) {
    const auto equals = assignment.find('=');
    auto value =
        json::parse(equals == std::string::npos ? "" : assignment.substr(equals + 1), nullptr, false);
    if (equals == std::string::npos || equals == 0) {
        complain("lab set: '{}' is not of the form PROPERTY=VALUE, as 0x406=96", assignment);
        return kExitUsage;
    }
    if (value.is_discarded()) value = assignment.substr(equals + 1);
    auto command = withId("set", id);
    command["property"] = assignment.substr(0, equals);
    command["value"] = value;
    return runCommand(common, command);
}

void addOneDevice(CLI::App& lab, Invocation& invocation, const char* name, const char* text) {
    auto* command = lab.add_subcommand(name, text);
    auto id = std::make_shared<std::string>();
    command->add_option("ID", *id, "The device's id in the scenario")->required();
    command->callback(
        [name, id, &invocation] { invocation.status = runCommand(invocation.common, withId(name, *id)); });
}

}  // namespace

void addLab(CLI::App& app, Invocation& invocation) {
    auto* command =
        app.add_subcommand("lab", "Change the simulated cameras while they run, show what was called");
    auto text = std::make_shared<std::string>();
    command->add_option("COMMAND", *text, "A command as a JSON object");
    describe(*command,
             "Needs the socket that the helper was started with: --lab-socket, or TARVO_LAB_SOCKET.\n\n"
             "Examples (L stands for --lab-socket /tmp/lab):\n"
             "  tarvo lab L state\n"
             "  tarvo lab L press canon-1\n"
             "  tarvo lab L set canon-1 0x406=96\n"
             "  tarvo lab L trace --clear\n"
             "  tarvo lab L '{\"cmd\":\"fault\",\"call\":\"EdsDownload\",\"result\":42}'\n");
    command->callback([command, text, &invocation] {
        if (!command->get_subcommands().empty()) return;
        if (text->empty()) throw CLI::RequiredError("COMMAND");
        invocation.status = runText(invocation.common, *text);
    });

    auto* state = command->add_subcommand("state", "Show all devices with their values");
    state->callback([&invocation] {
        invocation.status = runCommand(invocation.common, json{{"cmd", "state"}});
    });

    auto* trace = command->add_subcommand("trace", "Show the calls on the camera libraries, oldest first");
    auto clears = std::make_shared<bool>(false);
    auto isJson = std::make_shared<bool>(false);
    trace->add_flag("--clear", *clears, "Forget them afterwards");
    trace->add_flag("--json", *isJson, "One JSON object a line");
    trace->callback(
        [clears, isJson, &invocation] { invocation.status = runTrace(invocation.common, *clears, *isJson); });

    addOneDevice(*command, invocation, "press", "Press the shutter button of the camera itself");
    addOneDevice(*command, invocation, "attach", "Plug a detached device in");
    addOneDevice(*command, invocation, "detach", "Unplug a device");

    auto* set = command->add_subcommand("set", "Turn a dial of the camera itself");
    auto id = std::make_shared<std::string>();
    auto assignment = std::make_shared<std::string>();
    set->add_option("ID", *id, "The device's id in the scenario")->required();
    set->add_option("PROPERTY=VALUE", *assignment, "Property number and value, as 0x406=96")->required();
    set->callback(
        [id, assignment, &invocation] { invocation.status = runSet(invocation.common, *id, *assignment); });
}

}  // namespace tarvo
