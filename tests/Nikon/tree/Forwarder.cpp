/* Takes the place of the forwarder of events. */
#include "tests/Nikon/tree/Forwarder.h"

#include "TarvoRemote/NikonRemote.h"

std::vector<int32_t> sentStatuses;
std::vector<int32_t> sentPercents;
std::function<void()> atStatus;

void NikonRemote_statusCallback(int32_t status) {
    sentStatuses.push_back(status);
    if (atStatus) atStatus();
}

void NikonRemote_progressCallback(int32_t percent) {
    sentPercents.push_back(percent);
}
