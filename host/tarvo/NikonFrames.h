/* NikonFrames.h: live view of a Nikon camera.
 *
 * Thread, Owns, Errors: FrameSource.h.
 */
#pragma once

#include "host/tarvo/CameraAccess.h"
#include "host/tarvo/FrameSource.h"

namespace tarvo {

class NikonFrames : public FrameSource {
public:
    explicit NikonFrames(CameraAccess& access) : access_(access) {}
    ~NikonFrames() override;

    int start() override;
    int zoom(const std::vector<float>& position) override;
    Result<std::vector<uint8_t>> frame() override;
    /** Also passes the camera's warning of heat on. */
    bool tellsGone(const Event& event) override;

private:
    int enlarge();
    int moveTo(const std::vector<float>& position);
    int tellArea();

    CameraAccess& access_;
    bool isOn_ = false;
    int32_t usualZoom_ = -1;  // what to set back; -1: nothing
};

}  // namespace tarvo
