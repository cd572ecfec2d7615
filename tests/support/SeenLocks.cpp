// Linked under ThreadSanitizer, which knows the locks of the C library. GLib makes its own out of system calls and is
// not built with it. These functions take the place of GLib's, call them, and say what comes before what.

#include <glib.h>

#include <dlfcn.h>
#include <sanitizer/tsan_interface.h>

namespace {

/// The library's own function.
template<typename Function>
Function* next(const char* name)
{
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

} // namespace

// ---- Locks

extern "C" void g_mutex_lock(GMutex* mutex)
{
    static auto* const real = next<decltype(g_mutex_lock)>(__func__);
    real(mutex);
    __tsan_acquire(mutex);
}

extern "C" void g_mutex_unlock(GMutex* mutex)
{
    static auto* const real = next<decltype(g_mutex_unlock)>(__func__);
    __tsan_release(mutex);
    real(mutex);
}

extern "C" void g_rec_mutex_lock(GRecMutex* mutex)
{
    static auto* const real = next<decltype(g_rec_mutex_lock)>(__func__);
    real(mutex);
    __tsan_acquire(mutex);
}

extern "C" void g_rec_mutex_unlock(GRecMutex* mutex)
{
    static auto* const real = next<decltype(g_rec_mutex_unlock)>(__func__);
    __tsan_release(mutex);
    real(mutex);
}

extern "C" void g_cond_wait(GCond* condition, GMutex* mutex)
{
    static auto* const real = next<decltype(g_cond_wait)>(__func__);
    __tsan_release(mutex);
    real(condition, mutex);
    __tsan_acquire(mutex);
}

extern "C" gboolean g_cond_wait_until(GCond* condition, GMutex* mutex, gint64 end)
{
    static auto* const real = next<decltype(g_cond_wait_until)>(__func__);
    __tsan_release(mutex);
    const gboolean isSignalled = real(condition, mutex, end);
    __tsan_acquire(mutex);
    return isSignalled;
}

// ---- What goes from thread to thread

extern "C" void g_async_queue_push(GAsyncQueue* queue, gpointer data)
{
    static auto* const real = next<decltype(g_async_queue_push)>(__func__);
    __tsan_release(data);
    real(queue, data);
}

extern "C" gpointer g_async_queue_try_pop(GAsyncQueue* queue)
{
    static auto* const real = next<decltype(g_async_queue_try_pop)>(__func__);
    void* const data = real(queue);
    if (data)
        __tsan_acquire(data);
    return data;
}

extern "C" gpointer g_async_queue_timeout_pop(GAsyncQueue* queue, guint64 microseconds)
{
    static auto* const real = next<decltype(g_async_queue_timeout_pop)>(__func__);
    void* const data = real(queue, microseconds);
    if (data)
        __tsan_acquire(data);
    return data;
}

/// What a thread does for another one, which is how GStreamer has its thread of OpenGL work.
extern "C" void g_main_context_invoke(GMainContext* context, GSourceFunc function, gpointer data)
{
    struct Call
    {
        GSourceFunc function;
        gpointer data;
    };
    const auto make = [](gpointer call) {
        __tsan_acquire(call);
        const Call& made = *static_cast<Call*>(call);
        return made.function(made.data);
    };
    const auto forget = [](gpointer call) {
        delete static_cast<Call*>(call);
    };
    auto* const call = new Call{function, data};
    __tsan_release(call);
    g_main_context_invoke_full(context, G_PRIORITY_DEFAULT, make, call, forget);
}
