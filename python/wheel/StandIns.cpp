// What OpenCV's and LAPACK's archives ask for and the modules of a wheel do without.

#include <algorithm>
#include <cstddef>
#include <cstring>

extern "C" {

// OpenCV's core asks GLX for the current context in three functions that share textures and buffers of OpenGL with
// OpenCL, which nobody calls here. With these it needs no libGLX, and so no X11.
void* glXGetCurrentContext();
void* glXGetCurrentDisplay();
void* glXGetProcAddressARB(const unsigned char* name);

void* glXGetCurrentContext()
{
    return nullptr;
}

void* glXGetCurrentDisplay()
{
    return nullptr;
}

void* glXGetProcAddressARB(const unsigned char*)
{
    return nullptr;
}

// What LAPACK and BLAS call when an argument is wrong. Theirs print and end the process; after these the function
// returns with an error code, which OpenCV looks at.
void xerbla_(const char* routine, const int* argument, std::size_t length);
void cblas_xerbla(int argument, const char* routine, const char* format, ...);

void xerbla_(const char*, const int*, std::size_t) {}

void cblas_xerbla(int, const char*, const char*, ...) {}

// The one function of Fortran's runtime that LAPACK calls then: a concatenation, padded with blanks. The library has
// megabytes, and its archive cannot go into a module.
void _gfortran_concat_string(std::size_t size, char* result, std::size_t size1, const char* text1, std::size_t size2,
                             const char* text2);

void _gfortran_concat_string(std::size_t size, char* result, std::size_t size1, const char* text1, std::size_t size2,
                             const char* text2)
{
    const std::size_t first = std::min(size1, size), second = std::min(size2, size - first);
    std::memcpy(result, text1, first);
    std::memcpy(result + first, text2, second);
    std::memset(result + first + second, ' ', size - first - second);
}
}
