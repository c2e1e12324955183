#include "host/tarvo/CameraAccess.h"

#include <CLI/CLI.hpp>
#include "host/tarvo/Commands.h"
#include "host/tarvo/Console.h"
#include "host/tarvo/ExitStatus.h"
#include "host/tarvo/Interrupt.h"
#include "host/tarvo/Places.h"

namespace tarvo {
namespace {

constexpr std::chrono::hours kLong{24};

}  // namespace

int runHelper(const CommonOptions& common, const HelperOptions& options) {
    CommonOptions own = common;
    own.isVerbose = !options.isQuiet;
    if (own.helper.empty() && !own.startsHelper()) own.helper = helperPath().string();
    if (!own.labSocket.empty() && !own.isSimulated && own.scenario.empty()) {
        complain("--lab-socket: only simulated cameras have a lab; add --simulated");
        return kExitUsage;
    }
    HelperAccess helper;
    if (const int status = helper.open(own); status != kExitOk) return status;
    say("port {}", helper.port());
    note("helper {} runs with {} cameras; Ctrl-C ends it", helper.process()->pid(),
         own.isSimulated || !own.scenario.empty() ? "simulated" : "real");
    while (!interrupt::isRequested()) {
        if (!helper.process()->waitForEnd(kLong, interrupt::fd())) continue;
        const int status = helper.process()->exitStatus().value_or(-1);
        // Status 0 means that somebody asked it to end.
        if (status == 0) {
            note("the helper was asked to end and did");
            return kExitOk;
        }
        complain("the helper ended by itself with status {}; its log above may tell why", status);
        return kExitFailed;
    }
    note("ending the helper");
    return kExitOk;
}

void addHelper(CLI::App& app, Invocation& invocation) {
    auto* command = app.add_subcommand("helper", "Start a helper, pass on its log, end it on Ctrl-C");
    auto options = std::make_shared<HelperOptions>();
    command->add_flag("--quiet", options->isQuiet, "Do not show the helper's log");
    describe(
        *command,
        "The first line on standard output is 'port N'. The helper's log goes to standard error. Ctrl-C, or "
        "a\n"
        "request to end, ends the helper in order. The helper serves one host at a time: events go to the "
        "one\n"
        "that connected last.\n\n"
        "Examples:\n"
        "  tarvo helper                                        real cameras\n"
        "  tarvo helper --simulated --lab-socket /tmp/lab      simulated ones, changed with 'tarvo lab'\n"
        "  tarvo helper --scenario two-cameras --quiet\n");
    command->callback([options, &invocation] { invocation.status = runHelper(invocation.common, *options); });
}

}  // namespace tarvo
