/* caller.h: a small program's view of a module: opened objects, commands, and what their procedures heard.
 *
 * Thread: one test, one thread.
 * Owns:   every object that it opened, closed when the test ends.
 */
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "MAID.h"
#include "tests/lab/support.h"

namespace test {

struct HeardEvent {
    uint32_t event;
    uint64_t parameter;
};
struct Progress {
    uint32_t done;
    uint32_t total;
};

/** An open object; its record's address is what the module knows it by. */
struct Opened {
    NkMAIDObject record{};
    std::vector<HeardEvent> events;
    std::vector<Progress> progress;
    std::vector<NkMAIDFileInfo> blocks;
    std::string data;
    int32_t answerToData = 0;
};

/** How often a command's completion came, and with what. */
struct Completion {
    int count = 0;
    int32_t result = 12345;
};

/** A number in a frame's header, which is big-endian. */
inline unsigned wordAt(const std::string& bytes, size_t at) {
    return static_cast<unsigned>(static_cast<uint8_t>(bytes.at(at))) << 8 |
           static_cast<uint8_t>(bytes.at(at + 1));
}

MaidEntryPoint entryPointOf(const std::string& module);

class MaidTest : public ::testing::Test {
protected:
    void TearDown() override;

    /** Lays these bodies, called nikon-1 and so on, in the module "Type0001", and opens its module object. */
    void start(const std::vector<Json>& bodies = {Json::object()}, const Json& scenario = Json::object());
    Opened* open(Opened* parent, uint32_t id);
    Opened* source(uint32_t id = 1) { return open(module, id); }
    void close(Opened* object);

    /** Issues the command and polls until its completion came; answers what the call answered. */
    int32_t run(Opened* object, uint32_t command, uint32_t param = 0, uint32_t dataType = 0,
                MaidParam data = 0);
    int32_t issue(Opened* object, uint32_t command, uint32_t param, uint32_t dataType, MaidParam data,
                  Completion& completion);
    void poll(Opened* object, int times = 1);
    bool pollUntil(Opened* object, const std::function<bool()>& condition);

    void install(Opened* object);
    int32_t setUnsigned(Opened* object, uint32_t capability, uint32_t value);
    uint32_t getUnsigned(Opened* object, uint32_t capability);
    std::vector<uint32_t> children(Opened* object);
    std::string frame(Opened* source);

    static Json library() { return must({{"cmd", "state"}})["libraries"]["MAID"]; }

    MaidEntryPoint call = nullptr;
    Opened* module = nullptr;
    Completion last;

private:
    std::vector<std::unique_ptr<Opened>> opened_;
};

}  // namespace test
