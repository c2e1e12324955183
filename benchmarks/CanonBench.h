/* CanonBench.h: a helper with one simulated body and an open session, for the benchmarks that need a camera.
 */
#pragma once

#include <string>

#include "tests/e2e/support/canon_calls.h"
#include "tests/e2e/support/canon_fixture.h"
#include "tests/e2e/support/helper_process.h"
#include "tests/e2e/support/lab_client.h"

/** A helper's options that lay out one body; `more` is laid over it. */
inline e2e::HelperOptions oneBody(const e2e::Json& more) {
    e2e::HelperOptions options;
    options.scenario = e2e::scenarioOf({e2e::canonCamera("body", "Canon EOS 40D", more)});
    return options;
}

class CanonBench {
public:
    explicit CanonBench(const e2e::Json& more)
        : helper(oneBody(more)), lab(helper.labSocket()), canon(helper.port()), events(helper) {
        canon.initializeSdk();
        session = canon.openSession(canon.cameraList().at(0));
    }

    CanonBench(const CanonBench&) = delete;
    CanonBench& operator=(const CanonBench&) = delete;

    e2e::HelperProcess helper;
    e2e::LabClient lab;
    e2e::CanonCalls canon;
    e2e::CallbackStream events;
    int32_t session = 0;
};
