#include "QuickTime.h"

#include "lab/Call.h"

OSErr EnterMovies() {
    lab::Call call("EnterMovies");
    if (call.refused()) {
        return call.answer<OSErr>();
    }
    return call.done<OSErr>(0);
}
