/* FakeModule.h: a camera module within the test, which does what the test tells it to.
 *
 * It keeps a tree of objects with capabilities, writes down every command, and completes them when it is
 * polled. On top of that a test may answer any command itself, do anything in the middle of one, and have
 * completions come at once, late, twice or never. It believes nothing: a command on an object that is not
 * open, or data of a wrong type, is an error that it also remembers as a complaint.
 *
 * Thread: the test's. One module at a time: the entry point is a plain function.
 */
#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "MAID.h"
#include "Nikon/RefObj.h"

struct FakeCapability {
    NkMAIDCapInfo info{};
    uint32_t number = 0;              // boolean and unsigned
    std::vector<uint8_t> elements{};  // arrays and enumerations
    uint32_t elementType = kMaidArrayUnsigned;
    uint16_t elementSize = 4;
    NkMAIDCallback procedure{};  // callbacks
};

struct FakeObject {
    uint32_t type = 0;
    uint32_t id = 0;
    bool isOpen = false;
    std::vector<FakeCapability> capabilities;
    std::vector<std::unique_ptr<FakeObject>> children;

    FakeObject& add(uint32_t childType, uint32_t childId);
    FakeObject* child(uint32_t childId);
    FakeCapability& can(uint32_t capability, uint32_t capabilityType, uint32_t operations);
    FakeCapability* capability(uint32_t capability);
    /** Lets itself be told a callback. */
    void hasProcedure(uint32_t capability);
    /** The list of its children's ids, as they are then. */
    void hasChildrenList();
    /** What the procedure answered; 0 without one. */
    int32_t raise(uint32_t event, MaidParam parameter);
    void progress(uint32_t done, uint32_t total);
};

/** One command, as it came. */
struct FakeCall {
    FakeObject* object = nullptr;
    uint32_t command = 0;
    uint32_t parameter = 0;
    uint32_t dataType = 0;
    MaidParam data = 0;
    MaidCompletionProc completion = nullptr;
    MaidRef reference = nullptr;
    NkMAIDObject* record = nullptr;
};

class FakeModule {
public:
    FakeModule();
    ~FakeModule();
    FakeModule(const FakeModule&) = delete;
    FakeModule& operator=(const FakeModule&) = delete;

    static int32_t entryPoint(NkMAIDObject* object, uint32_t command, uint32_t parameter, uint32_t dataType,
                              MaidParam data, MaidCompletionProc completion, MaidRef reference);

    FakeObject root;  // opened by openRoot

    /** A root record as the camera logic makes it, open and with its capabilities. */
    void openRoot(nikon::tagRefObj* record);

    /** Answers a command instead of the module; nothing: the module answers. */
    std::function<std::optional<int32_t>(const FakeCall&)> answer;
    /** Looks on at each command before it is answered. */
    std::function<void(const FakeCall&)> before;
    /** Done at the polls to come, one a poll. */
    std::deque<std::function<void()>> atPolls;

    int completionPolls = 1;  // polls until a command is completed; 0: within the command
    int completions = 1;      // how often: 0 never, 2 twice
    /** The result with which a command is completed; nothing: the one with which it was answered. */
    std::function<std::optional<int32_t>(const FakeCall&)> completionResult;

    std::vector<FakeCall> calls;  // async commands not among them
    int polls = 0;
    std::vector<std::string> complaints;

    /** "set 3 on source 1", for comparing orders. */
    std::vector<std::string> trace() const;
    void complete(const FakeCall& call, int32_t result);

private:
    struct Pending {
        FakeCall call;
        int32_t result;
        int polls;
    };

    int32_t handle(const FakeCall& call);
    int32_t carryOut(const FakeCall& call);
    void settle(const FakeCall& call, int32_t result);
    void completeAsTold(const FakeCall& call, int32_t result);
    int32_t poll();
    int32_t open(const FakeCall& call);
    int32_t describe(const FakeCall& call);
    int32_t get(const FakeCall& call, FakeCapability& capability);
    int32_t getArray(const FakeCall& call, const FakeCapability& capability);
    int32_t set(const FakeCall& call, FakeCapability& capability);
    int32_t announceChildren(const FakeCall& call);
    int32_t complain(const FakeCall& call, const char* what, int32_t result);

    std::vector<Pending> pending_;
};
