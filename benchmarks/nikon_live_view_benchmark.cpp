/* A live-view frame of 200 KB over the socket, against the least that it takes: the module's own delivery of
 * the frame, one copy, and raw sends of the same bytes to a client that asks in the same way.
 *
 * The body completes the reads of its frame at once. One that completes them at a poll, as bodies do, is
 * waited for 10 ms a read on both sides, and the two could not be told apart.
 */
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <cstring>
#include <fstream>
#include <thread>
#include <vector>

#include "Nikon/NikonRecords.h"
#include "Nikon/Nikonjnilib.h"
#include "benchmarks/Loopback.h"
#include "benchmarks/NikonBench.h"

namespace {

constexpr size_t kHeader = 384;
constexpr size_t kJpeg = 200000;

e2e::Json body() {
    return e2e::withCapabilities(
        {e2e::capability(e2e::kLiveViewFrame, e2e::kArrayCap, 10, {{"completeAfter", 0}})},
        {{"liveview", {{{"header", ""}, {"length", kHeader + kJpeg}, {"jpegAt", kHeader}}}}});
}

void BM_nikon_live_view(benchmark::State& state) {
    NikonBench bench(body());
    bench.nikon.setLiveView(bench.camera, true);
    const e2e::Bytes request = e2e::Message().byte(20).byte(13).int64(bench.camera);
    const int client = connectTo(bench.helper.port());
    std::vector<uint8_t> reply(2 + 2 + 4 + kJpeg);
    for (auto _ : state) {
        require(send(client, request.data(), request.size(), 0) > 0, "send");
        receiveAll(client, reply.data(), reply.size());
    }
    require(e2e::int32At(reply, 4) == static_cast<int32_t>(kJpeg), "a whole frame");
    close(client);
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(kJpeg));
}

/** The module in this process, without the helper around it. */
class ModuleOfOurOwn {
public:
    ModuleOfOurOwn() {
        std::ofstream(folder_.file("scenario.json")) << e2e::nikonScenario({body()}).dump();
        setenv("TARVO_LAB", folder_.file("scenario.json").c_str(), 1);
        JNIEnv* env = GetGlobalEnv();
        module_ = Java_com_velmont_camera_nikon_NikonMaid_InitializeSDK(
            env, env, nikonModuleDirectory().data(), e2e::kModuleType);
        unsetenv("TARVO_LAB");  // helpers that are started later must not look for it
        camera_ = Java_com_velmont_camera_nikon_NikonMaid_selectCameraAtIndex(env, env, module_, 0);
        require(camera_ != 0, "the module's camera");
        Java_com_velmont_camera_nikon_NikonMaid_SetLiveView(env, env, camera_, 1);
    }
    ~ModuleOfOurOwn() {
        JNIEnv* env = GetGlobalEnv();
        Java_com_velmont_camera_nikon_NikonMaid_releaseCamera(env, env, camera_);
        Java_com_velmont_camera_nikon_NikonMaid_TerminateSDK(env, env, module_);
    }
    ModuleOfOurOwn(const ModuleOfOurOwn&) = delete;
    ModuleOfOurOwn& operator=(const ModuleOfOurOwn&) = delete;

    /** The commands of a frame, bare; its bytes are appended to the reply behind `at`. */
    void deliver(std::vector<uint8_t>& reply, size_t at) {
        const nikon::CameraCall call(camera_);
        const tagNkMAIDArray announced = read(call.source()->object, kMaidCommandCapGet, {});
        std::vector<uint8_t> frame(announced.elements);
        tagNkMAIDArray filled = announced;
        filled.data = frame.data();
        read(call.source()->object, kMaidCommandCapGetArray, filled);
        std::memcpy(reply.data() + at, frame.data() + kHeader, kJpeg);
    }

private:
    static void completed(NkMAIDObject*, uint32_t, uint32_t, uint32_t, MaidParam, MaidRef, int32_t result) {
        require(result == 0, "the module's frame");
    }

    NkMAIDArray read(NkMAIDObject* source, uint32_t command, NkMAIDArray record) const {
        entryPoint()(source, command, e2e::kLiveViewFrame, kMaidDataArrayPtr,
                     reinterpret_cast<MaidParam>(&record), completed, nullptr);
        return record;
    }

    MaidEntryPoint entryPoint() const {
        return handles::pin<nikon::NikonModule>(handles::Kind::NikonModule, nikon::toAddress(module_))
            ->root.entryPoint;
    }

    e2e::TempFolder folder_;
    jlong module_ = 0;
    jlong camera_ = 0;
};

void BM_nikon_live_view_baseline(benchmark::State& state) {
    ModuleOfOurOwn module;
    Connection connection;
    std::thread server([&] {
        std::vector<uint8_t> request(10);
        std::vector<uint8_t> reply(2 + 2 + 4 + kJpeg);
        while (recv(connection.far, request.data(), request.size(), MSG_WAITALL) == 10) {
            send(connection.far, reply.data(), 2, 0);
            module.deliver(reply, 8);
            send(connection.far, reply.data() + 2, 2, 0);
            send(connection.far, reply.data() + 4, 4, 0);
            send(connection.far, reply.data() + 8, kJpeg, 0);
        }
    });
    const std::vector<uint8_t> request(10);
    std::vector<uint8_t> reply(2 + 2 + 4 + kJpeg);
    for (auto _ : state) {
        require(send(connection.near, request.data(), request.size(), 0) > 0, "send");
        receiveAll(connection.near, reply.data(), reply.size());
    }
    shutdown(connection.near, SHUT_RDWR);
    server.join();
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(kJpeg));
}

BENCHMARK(BM_nikon_live_view_baseline)->UseRealTime()->MinWarmUpTime(0.2);
BENCHMARK(BM_nikon_live_view)->UseRealTime()->MinWarmUpTime(0.2);

}  // namespace
