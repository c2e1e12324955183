/* Gst.h: GStreamer's and GLib's things, given back at the end of their scope.
 *
 * Owns: each holder one reference.
 */
#pragma once

#include <gst/gst.h>

#include <memory>

namespace movies {

struct GstRelease {
    void operator()(GstCaps* caps) const { gst_caps_unref(caps); }
    void operator()(GstMessage* message) const { gst_message_unref(message); }
    void operator()(GError* error) const { g_error_free(error); }
    void operator()(gchar* text) const { g_free(text); }
    void operator()(void* object) const { g_object_unref(object); }
};

template <class Thing>
using Held = std::unique_ptr<Thing, GstRelease>;

/** Starts GStreamer, once; false when that fails. Any thread. */
bool startGst();

}  // namespace movies
