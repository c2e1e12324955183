/* reports.h: a progress callback that remembers what it was told. */
#pragma once

#include <functional>
#include <thread>
#include <vector>

#include "tests/EDSDK/fixture.h"

namespace test {

struct Reports {
    std::vector<EdsUInt32> percents;
    std::vector<std::thread::id> threads;
    EdsUInt32 cancelAt = 1000;
    std::function<void(EdsUInt32)> then;
};

inline EdsError report(EdsUInt32 percent, EdsVoid* context, EdsBool* cancel) {
    auto& reports = *static_cast<Reports*>(context);
    reports.percents.push_back(percent);
    reports.threads.push_back(std::this_thread::get_id());
    if (percent >= reports.cancelAt) *cancel = 1;
    if (reports.then) reports.then(percent);
    return EDS_ERR_OK;
}

class TransferTest : public EdsTest {
protected:
    using Pictures = std::vector<std::pair<std::string, std::string>>;

    /** A camera whose shots are one made-up file. */
    static Json made(size_t bytes, const char* name = "IMG_0001.CR2") {
        const Json file = {{"name", name}, {"bytes", bytes}};
        return {{"shots", Json::array({Json::array({file})})}};
    }
    static Json madeAtRate(size_t bytes, size_t bytesPerSecond) {
        Json camera = made(bytes);
        camera["transferBytesPerSecond"] = bytesPerSecond;
        return camera;
    }
    /** Downloads into a file and answers what the library said. */
    EdsError download(EdsDirectoryItemRef item, const std::string& path,
                      EdsProgressOption option = kEdsProgressOption_Periodically) {
        EdsStreamRef stream = fileStream(path);
        EXPECT_EQ(EdsSetProgressCallback(stream, report, option, &reports), EDS_ERR_OK);
        const EdsError error = EdsDownload(item, info(item).size, stream);
        EXPECT_EQ(EdsRelease(stream), 0u);
        return error;
    }
    /** Names and states of what is on the camera. */
    static Pictures pictures() {
        Pictures found;
        const Json state = deviceState("canon-1");
        for (const Json& picture : state["pictures"]) {
            found.emplace_back(picture["name"], picture["state"]);
        }
        return found;
    }
    static bool isUnderWay() {
        const Pictures now = pictures();
        return !now.empty() && now[0].second == "transferring";
    }

    Reports reports;
};

}  // namespace test
