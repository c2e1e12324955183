#include "host/client/ExportClient.h"

#include <algorithm>
#include <array>
#include <chrono>

#include "host/client/Socket.h"
#include "host/client/Wire.h"
#include "host/client/protocol.h"

namespace tarvo {
namespace {

constexpr uint8_t kExportSettingsMethod = 1;
constexpr std::chrono::seconds kConnectLimit{5};
/// Nobody thinks longer about settings.
constexpr std::chrono::hours kDialogLimit{24 * 7};

struct StatusText {
    int32_t status;
    const char* text;
};
constexpr StatusText kTexts[] = {
    {-36, "the movie could not be read on"},
    {-43, "there is no such movie"},
    {-50, "the path of the movie is no path"},
    {-54, "the movie may not be read"},
    {-108, "the helper has too little memory"},
    {-2048, "that is not a movie"},
    {-2101, "the saved settings are no settings of this exporter"},
    {-3000, "nothing can be exported where the helper runs"},
    {-5699, "the helper has no display to show the dialog on"},
};

}  // namespace

Result<int32_t> askForExportSettings(uint16_t port, const ExportSettingsRequest& request, int interruptFd) {
    Arguments arguments;
    arguments.addByte(kModuleQuickTime).addByte(kExportSettingsMethod);
    arguments.addString(request.settings).addString(request.second).addString(request.movie);
    arguments.addByte(request.usesSaved ? 1 : 0);
    if (arguments.error()) return {arguments.error()};

    Patience patience;
    patience.limit = kConnectLimit;
    patience.interruptFd = interruptFd;
    const auto connected = connectLoopback(port, patience);
    if (!connected.ok()) return {connected.error};
    const int socket = connected.value.get();
    if (auto error = sendAll(socket, arguments.bytes(), patience)) return {error};

    patience.limit = kDialogLimit;
    std::array<uint8_t, 2> header{};
    if (auto error = receiveAll(socket, header, patience)) return {error};
    if (header[0] != kModuleQuickTime || header[1] != kExportSettingsMethod) {
        return {failed(Failure::wrongAnswer, "the answer is not one to a request for export settings")};
    }
    return receiveInt(socket, patience);
}

std::string exportStatusText(int32_t status) {
    const auto* const found =
        std::find_if(std::begin(kTexts), std::end(kTexts),
                     [status](const StatusText& each) { return each.status == status; });
    return found != std::end(kTexts) ? found->text : "";
}

}  // namespace tarvo
