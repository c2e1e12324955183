/* RandomModule.h: a camera module whose every answer comes from a run's bytes.
 *
 * It keeps to the one rule whose breach nobody can be saved from: it writes no further than the storage that
 * it was given. Everything else it does as the bytes say, most of which let it behave: results, counts,
 * sizes, texts, completions at once, late, twice or never, events, progress and blocks in the middle of any
 * command. When the bytes are used up it refuses everything, so that every run ends.
 *
 * Thread: one at a time; one module at a time.
 */
#pragma once

#include <cstdint>
#include <vector>

#include "MAID.h"
#include "tests/fuzz/Input.h"

class RandomModule {
public:
    explicit RandomModule(Input& input);
    ~RandomModule();
    RandomModule(const RandomModule&) = delete;
    RandomModule& operator=(const RandomModule&) = delete;

    static int32_t entryPoint(NkMAIDObject* object, uint32_t command, uint32_t parameter, uint32_t dataType,
                              MaidParam data, MaidCompletionProc completion, MaidRef reference);

private:
    struct Listener {
        uint32_t capability;
        NkMAIDCallback callback;
    };
    struct Open {
        NkMAIDObject* object;
        uint32_t command;
        uint32_t parameter;
        MaidCompletionProc completion;
        MaidRef reference;
    };

    int32_t handle(const Open& call, uint32_t dataType, MaidParam data);
    int32_t result();
    uint16_t size();
    bool isOdd();
    void work();
    void carryOut(const Open& call, uint32_t dataType, MaidParam data);
    void get(uint32_t capability, uint32_t dataType, MaidParam data);
    void getArray(uint32_t capability, uint32_t dataType, MaidParam data);
    void describe(uint32_t count, NkMAIDCapInfo* infos);
    void doSomethingElse();
    void deliver(const NkMAIDCallback& to);
    void completeOne();

    Input& input_;
    std::vector<Listener> listeners_;
    std::vector<Open> open_;
    int depth_ = 0;
};
