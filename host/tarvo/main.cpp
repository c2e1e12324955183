/* The tarvo command: a host of the camera helper for the command line. */

#include <CLI/CLI.hpp>
#include <exception>

#include "host/client/protocol.h"
#include "host/tarvo/Commands.h"
#include "host/tarvo/Console.h"
#include "host/tarvo/ExitStatus.h"
#include "host/tarvo/ExportCommands.h"
#include "host/tarvo/Interrupt.h"

namespace tarvo {

void describe(CLI::App& command, const std::string& text) {
    command.footer("\n" + text);
}

CLI::Validator numberFrom(double low, double high) {
    const auto problem = [low, high](const std::string& text) {
        double value = 0;
        const bool isInside = CLI::detail::lexical_cast(text, value) && value >= low && value <= high;
        return isInside ? std::string() : fmt::format("'{}' is no number from {} to {}", text, low, high);
    };
    return CLI::Validator(problem, fmt::format("FLOAT from {} to {}", low, high));
}

namespace {

constexpr const char* kOverview =
    "\nWithout --port, --simulated or --helper a command looks for a helper that runs already, on the ports "
    "from\n"
    "54839 up. With --simulated, --scenario or --helper it starts one of its own, for itself alone.\n"
    "\nExit status: 0 done; 1 the camera or helper refused or failed; 2 the command line or a file named in "
    "it is\n"
    "wrong; 3 no helper; 4 no camera; 5 a file exists or cannot be written; 6 something did not come in "
    "time;\n"
    "130 Ctrl-C.\n"
    "\nExamples:\n"
    "  tarvo demo                                      see it work, without a camera\n"
    "  tarvo cameras --simulated\n"
    "  tarvo helper &                                  a helper for several commands\n"
    "  tarvo shoot --path scene/frame --quality raw+jpeg\n"
    "  tarvo shoot --help                              more about one command\n";

void addCommonOptions(CLI::App& app, CommonOptions& common) {
    auto* port =
        app.add_option("--port", common.port, "Use the helper at this port")->check(CLI::Range(1, 65535));
    auto* simulated =
        app.add_flag("--simulated", common.isSimulated, "Start a helper with simulated cameras");
    auto* helper = app.add_option("--helper", common.helper, "Start this helper")->check(CLI::ExistingFile);
    auto* scenario =
        app.add_option("--scenario", common.scenario,
                       "Simulated cameras as in this file, or one of those that came along by name");
    port->excludes(simulated)->excludes(helper)->excludes(scenario);
    app.add_option("--camera", common.camera,
                   "Use the camera whose name has this text in it (\"5D\", \"nikon\", \"D80 #1\")");
    app.add_option("--nikon-modules", common.nikonModules,
                   "Folder of the module bundles for Nikon cameras; also in the environment as\n"
                   "TARVO_NIKON_MODULES. Else the one of the simulated cameras with --simulated,\n"
                   "--scenario or --lab-socket, and the one for real cameras without")
        ->envname("TARVO_NIKON_MODULES")
        ->check(CLI::ExistingDirectory);
    app.add_option("--lab-socket", common.labSocket, "Where the simulated cameras take commands (tarvo lab)");
    app.add_flag("-v,--verbose", common.isVerbose, "Show the log of a helper that is started");
}

int runCommandLine(int argc, char** argv) {
    CLI::App app{"tarvo: drives tethered cameras through the camera helper", "tarvo"};
    Invocation invocation;
    addCommonOptions(app, invocation.common);
    app.require_subcommand(1);
    app.fallthrough();
    app.footer(kOverview);
    addHelper(app, invocation);
    addCameras(app, invocation);
    addSettings(app, invocation);
    addBattery(app, invocation);
    addBracketing(app, invocation);
    addFocus(app, invocation);
    addShoot(app, invocation);
    addLive(app, invocation);
    addWebcam(app, invocation);
    addWatch(app, invocation);
    addExportSettings(app, invocation);
    addExport(app, invocation);
    addLab(app, invocation);
    addDemo(app, invocation);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& problem) {
        // Help is thrown too, with status 0.
        if (problem.get_exit_code() == 0) return app.exit(problem);
        const auto unknown = app.remaining();
        if (app.get_subcommands().empty() && !unknown.empty()) {
            complain("there is no command or option '{}'", unknown.front());
        } else {
            complain("{}", problem.what());
        }
        note("  'tarvo --help' and 'tarvo COMMAND --help' tell more.");
        return kExitUsage;
    }
    return invocation.status;
}

}  // namespace
}  // namespace tarvo

int main(int argc, char** argv) {
    try {
        if (!tarvo::interrupt::install()) {
            tarvo::complain("signals cannot be handled here");
            return tarvo::kExitFailed;
        }
        const int status = tarvo::runCommandLine(argc, argv);
        tarvo::console::endProgress();  // a late report may have begun a line
        return status;
    } catch (const std::exception& problem) {
        tarvo::complain("stopped by an unexpected error: {}", problem.what());
        return tarvo::kExitFailed;
    }
}
