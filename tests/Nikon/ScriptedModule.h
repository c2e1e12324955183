/* ScriptedModule.h: a camera module in the hands of a test, for what no camera of the lab does.
 *
 * It has one tree of objects, answers commands from plain tables, completes them at the next poll, and lets a
 * test put its own answer in the place of any of them.
 *
 * Thread: one at a time; one module at a time.
 */
#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "MAID.h"

namespace nikon::test {

/** A command as the module gets it. */
struct Command {
    std::string object;  // "" the module, "1" a source, "1/5" an item, "1/5/1" a data object
    uint32_t command;
    uint32_t param;
    uint32_t dataType;
    MaidParam data;

    template <class Record>
    Record& as() const {
        return *reinterpret_cast<Record*>(data);
    }
};

class ScriptedModule {
public:
    /** Its answer, and the result of its completion; none: the usual one. */
    using Answer = std::function<std::optional<int32_t>(const Command&)>;

    ScriptedModule();
    ~ScriptedModule();
    ScriptedModule(const ScriptedModule&) = delete;
    ScriptedModule& operator=(const ScriptedModule&) = delete;

    /** Talks to the module that lives. */
    static int32_t entry(NkMAIDObject* object, uint32_t command, uint32_t param, uint32_t dataType,
                         MaidParam data, MaidCompletionProc completion, MaidRef ref);

    void answer(uint32_t command, uint32_t param, Answer answer) {
        answers_[{command, param}] = std::move(answer);
    }
    /** The next polls do these, one each, after completing what is open. */
    std::deque<std::function<void()>> polls;
    /** The result of a poll; 0 unless a test wants otherwise. */
    int32_t pollResult = 0;
    /** Commands complete before they return. */
    bool completesAtOnce = false;

    std::map<std::string, std::vector<uint32_t>> children;
    std::map<std::pair<std::string, uint32_t>, uint32_t>
        numbers;  // unsigned values, by object and capability
    std::vector<NkMAIDCapInfo> extraSourceCaps;

    /** Raises an event on an open object; only from inside a poll. */
    void raise(const std::string& object, uint32_t event, MaidParam data);
    /** Delivers a file to the object's data procedure, whole or in blocks; the answer to the last one. */
    int32_t deliver(const std::string& object, uint32_t fileType, const std::vector<uint8_t>& content,
                    uint32_t block = UINT32_MAX);

    bool isOpen(const std::string& object) const { return objects_.contains(object); }
    size_t count(uint32_t command, uint32_t param) const;
    const std::vector<Command>& commands() const { return commands_; }

private:
    struct Object {
        std::map<uint32_t, NkMAIDCallback> procs;
    };
    struct Completion {
        NkMAIDObject* object;
        Command command;
        MaidCompletionProc proc;
        MaidRef ref;
        int32_t result;
    };

    int32_t handle(NkMAIDObject* object, const Command& command);
    int32_t open(const std::string& parent, uint32_t id, NkMAIDObject& object);
    int32_t usual(const Command& command);
    int32_t get(const Command& command);
    int32_t set(const Command& command);
    int32_t poll();
    std::vector<NkMAIDCapInfo> capabilities(const std::string& object) const;

    std::map<std::pair<uint32_t, uint32_t>, Answer> answers_;
    std::map<std::string, Object> objects_;
    std::map<const NkMAIDObject*, std::string> paths_;
    std::vector<Command> commands_;
    std::vector<Completion> completions_;
};

NkMAIDCapInfo describe(uint32_t id, uint32_t type, uint32_t operations);

}  // namespace nikon::test
