#include "lab/Control.h"

#include <algorithm>
#include <array>
#include <exception>
#include <nlohmann/json.hpp>

#include "lab/Document.h"
#include "lab/Faults.h"
#include "lab/Fields.h"
#include "lab/Scenario.h"
#include "lab/State.h"
#include "lab/Trace.h"
#include "lab/World.h"
#include "lab/nikon/Sources.h"

namespace lab {

namespace {

/** The text that says what is wrong; empty when all is well so far. */
std::string finished(Fields& command) {
    command.finish();
    return command.report().text();
}

Context presentContext() {
    return {World::instance().folder(), World::instance().photos()};
}

/** Reads "id" and finds its device; reports when there is none. */
DeviceRef namedDevice(Fields& command) {
    std::string id;
    if (!command.require("id") || !command.text("id", id)) return nullptr;
    DeviceRef device = World::instance().find(id);
    if (!device) command.wrong("id", "no device is called \"" + id + "\"");
    return device;
}

std::string attachNew(Fields& command, const Json& json) {
    const DeviceRef device = parseDevice(json, "device", presentContext(), command.report());
    if (std::string problem = finished(command); !problem.empty()) return problem;
    const auto body = std::dynamic_pointer_cast<nikon::Body>(device);
    if (body && !nikon::settleSourceId(*body, World::instance().devices())) {
        return "device.sourceId: another body of its module has it";
    }
    if (World::instance().add(device)) return {};
    return "device.id: a device called \"" + device->id() + "\" is attached already";
}

std::string attach(Fields& command, JsonText& /*answer*/) {
    if (const Json* json = command.any("device")) return attachNew(command, *json);
    const DeviceRef device = namedDevice(command);
    if (std::string problem = finished(command); !problem.empty()) return problem;
    return device->attach() ? std::string() : device->id() + " is attached already";
}

std::string detach(Fields& command, JsonText& /*answer*/) {
    const DeviceRef device = namedDevice(command);
    if (std::string problem = finished(command); !problem.empty()) return problem;
    return device->detach() ? std::string() : device->id() + " is not attached";
}

std::string press(Fields& command, JsonText& /*answer*/) {
    const DeviceRef device = namedDevice(command);
    if (std::string problem = finished(command); !problem.empty()) return problem;
    return device->press();
}

std::string set(Fields& command, JsonText& /*answer*/) {
    const DeviceRef device = namedDevice(command);
    return device ? device->set(command) : command.report().text();
}

std::string get(Fields& command, JsonText& answer) {
    const DeviceRef device = namedDevice(command);
    return device ? device->get(command, answer) : command.report().text();
}

std::string event(Fields& command, JsonText& /*answer*/) {
    const DeviceRef device = namedDevice(command);
    return device ? device->event(command) : command.report().text();
}

std::string fault(Fields& command, JsonText& /*answer*/) {
    constexpr int64_t kMostCalls = int64_t{1} << 40;
    Fault fault;
    command.require("call");
    command.text("call", fault.call);
    command.text("device", fault.device);
    int64_t result = 0;
    if (command.number("result", result, {INT32_MIN, UINT32_MAX})) fault.result = result;
    command.number("skip", fault.skip, {0, kMostCalls});
    command.number("times", fault.times, {0, kMostCalls});
    command.number("delayMs", fault.delayMs, {0, kMostMilliseconds});
    for (const std::string_view key : kMatchKeys) {
        int64_t wanted = 0;
        if (command.number(key, wanted)) fault.matches.emplace_back(key, wanted);
    }
    if (!splitCommand(fault)) command.wrong("call", "expected a command's number behind the colon");
    if (!fault.result && fault.delayMs == 0) command.wrong("", "a fault needs \"result\" or \"delayMs\"");
    if (std::string problem = finished(command); !problem.empty()) return problem;
    Faults::instance().add(std::move(fault));
    return {};
}

std::string clearFaults(Fields& command, JsonText& /*answer*/) {
    if (std::string problem = finished(command); !problem.empty()) return problem;
    Faults::instance().clear();
    return {};
}

std::string trace(Fields& command, JsonText& answer) {
    bool isCleared = false;
    command.flag("clear", isCleared);
    if (std::string problem = finished(command); !problem.empty()) return problem;
    Trace::instance().write(answer, isCleared);
    return {};
}

std::string state(Fields& command, JsonText& answer) {
    if (std::string problem = finished(command); !problem.empty()) return problem;
    writeState(answer);
    return {};
}

std::string dialog(Fields& command, JsonText& /*answer*/) {
    Dialog dialog = parseDialog(command);
    if (std::string problem = finished(command); !problem.empty()) return problem;
    World::instance().setDialog(std::move(dialog));
    return {};
}

/** A new world, or the one that the helper began with. Faults go with the old one. */
std::string reset(Fields& command, JsonText& /*answer*/) {
    const Json* scenario = command.object("scenario");
    Setup setup;
    std::string problem = finished(command);
    if (!problem.empty()) return problem;
    if (scenario == nullptr) {
        if (!readStartScenario(setup, problem)) return problem;
    } else if (!parseScenario(*scenario, World::instance().folder(), setup, problem)) {
        return "scenario." + problem;
    }
    World::instance().replace(std::move(setup));
    Faults::instance().clear();
    return {};
}

struct CommandRow {
    std::string_view name;
    std::string (*run)(Fields& command, JsonText& answer);
};
constexpr std::array<CommandRow, 12> kCommands = {{{"attach", attach},
                                                   {"detach", detach},
                                                   {"press", press},
                                                   {"set", set},
                                                   {"get", get},
                                                   {"event", event},
                                                   {"fault", fault},
                                                   {"clearFaults", clearFaults},
                                                   {"trace", trace},
                                                   {"state", state},
                                                   {"dialog", dialog},
                                                   {"reset", reset}}};

std::string unknownCommand(std::string_view name) {
    std::string problem = "cmd: expected one of";
    for (const CommandRow& row : kCommands) {
        problem += std::string(" ") + std::string(row.name);
    }
    return problem + ", found \"" + std::string(name) + "\"";
}

std::string run(const Json& document, JsonText& answer) {
    Report report;
    Fields command(document, "", report);
    std::string name;
    if (!command.require("cmd") || !command.text("cmd", name)) return report.text();
    const auto* row = std::find_if(kCommands.begin(), kCommands.end(),
                                   [&](const CommandRow& other) { return other.name == name; });
    return row == kCommands.end() ? unknownCommand(name) : row->run(command, answer);
}

}  // namespace

std::string refusal(std::string_view why) {
    JsonText answer;
    answer.beginObject().key("ok").boolean(false).key("error").text(why).endObject();
    return answer.take();
}

std::string control(std::string_view line) {
    try {
        Json document;
        std::string problem;
        if (!parseDocument(line, document, problem)) return refusal(problem);
        JsonText answer;
        answer.beginObject().key("ok").boolean(true);
        problem = run(document, answer);
        if (!problem.empty()) return refusal(problem);
        return answer.endObject().take();
    } catch (const std::exception& error) {
        return refusal(error.what());
    }
}

}  // namespace lab
