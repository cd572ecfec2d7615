// For programs that are run with it in LD_PRELOAD: a processor whose last cache is so small that hardly any result fits
// into it, and is stored past it.

#include <dlfcn.h>
#include <unistd.h>

extern "C" long sysconf(int name) noexcept
{
    if (name == _SC_LEVEL3_CACHE_SIZE)
        return 48;
    using Sysconf = long (*)(int);
    static const auto next = reinterpret_cast<Sysconf>(dlsym(RTLD_NEXT, "sysconf"));
    return next(name);
}
