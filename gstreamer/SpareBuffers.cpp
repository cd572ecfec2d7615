#include "gstreamer/SpareBuffers.h"

namespace velmor::gstreamer {

void SpareBuffers::set(GstCaps* caps, const GstVideoInfo& info)
{
    clear();
    mPool = gst_video_buffer_pool_new();
    GstStructure* const config = gst_buffer_pool_get_config(mPool);
    gst_buffer_pool_config_set_params(config, caps, static_cast<guint>(GST_VIDEO_INFO_SIZE(&info)), 0, 0);
    GstAllocationParams how;
    gst_allocation_params_init(&how);
    how.align = 63; // lines of the cache, as alignToCache() asks for
    gst_buffer_pool_config_set_allocator(config, nullptr, &how);
    gst_buffer_pool_set_config(mPool, config);
}

void SpareBuffers::clear()
{
    if (!mPool)
        return;
    gst_buffer_pool_set_active(mPool, FALSE);
    gst_clear_object(&mPool);
}

GstFlowReturn SpareBuffers::take(GstBuffer** buffer)
{
    if (!mPool || !gst_buffer_pool_set_active(mPool, TRUE)) // which does nothing where it is active
        return GST_FLOW_ERROR;
    return gst_buffer_pool_acquire_buffer(mPool, buffer, nullptr);
}

} // namespace velmor::gstreamer
