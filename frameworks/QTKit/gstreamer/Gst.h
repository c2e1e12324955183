/* Gst.h: GStreamer's and GLib's things, given back at the end of their scope.
 *
 * Owns: each holder one reference.
 */
#pragma once

#include <gst/gst.h>

#include <memory>

namespace capture {

struct GstRelease {
    void operator()(GstBuffer* buffer) const { gst_buffer_unref(buffer); }
    void operator()(GstCaps* caps) const { gst_caps_unref(caps); }
    void operator()(GstSample* sample) const { gst_sample_unref(sample); }
    void operator()(GstStructure* structure) const { gst_structure_free(structure); }
    void operator()(GError* error) const { g_error_free(error); }
    void operator()(gchar* text) const { g_free(text); }
    void operator()(void* object) const { gst_object_unref(object); }
};

template <class Thing>
using Held = std::unique_ptr<Thing, GstRelease>;

}  // namespace capture
