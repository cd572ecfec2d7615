#include <gst/gst.h>

/// Forgets to give an element back: GStreamer's own tracer has to tell of it, or it tells of no leak at all.
/// @param argv  the element
int main(int argc, char** argv)
{
    gst_init(&argc, &argv);
    GstElement* const element = argc == 2 ? gst_element_factory_make(argv[1], nullptr) : nullptr;
    if (!element)
        return 1;
    gst_object_ref_sink(element);
    gst_deinit();
    return 0;
}
