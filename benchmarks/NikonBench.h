/* NikonBench.h: a helper with one simulated Nikon body that is selected, for the benchmarks that need one. */
#pragma once

#include <string>

#include "tests/e2e/support/helper_process.h"
#include "tests/e2e/support/lab_client.h"
#include "tests/e2e/support/nikon_calls.h"
#include "tests/e2e/support/nikon_fixture.h"

inline std::string nikonModuleDirectory() {
    return e2e::simulatedSetPath() + "/nikon";
}

inline e2e::HelperOptions oneNikon(const e2e::Json& body) {
    e2e::HelperOptions options;
    options.scenario = e2e::nikonScenario({body});
    return options;
}

class NikonBench {
public:
    explicit NikonBench(const e2e::Json& body)
        : helper(oneNikon(body)), lab(helper.labSocket()), nikon(helper.port()) {
        module = nikon.initializeSdk(nikonModuleDirectory(), e2e::kModuleType);
        camera = nikon.selectCamera(module, 0);
    }

    NikonBench(const NikonBench&) = delete;
    NikonBench& operator=(const NikonBench&) = delete;

    e2e::HelperProcess helper;
    e2e::LabClient lab;
    e2e::NikonCalls nikon;
    int64_t module = 0;
    int64_t camera = 0;
};
