#include "lab/Device.h"

namespace lab {

const char* familyName(Family family) {
    switch (family) {
        case Family::canon:
            return "canon";
        case Family::nikon:
            return "nikon";
        case Family::video:
            return "video";
    }
    return "";
}

}  // namespace lab
