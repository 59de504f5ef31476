extern "C" {
#include <libavcodec/avcodec.h>
}

#include <sanitizer/lsan_interface.h>

#include <dlfcn.h>

#include <cstdlib>

#if LIBAVCODEC_VERSION_MAJOR < 62

/**
 * In front of FFmpeg's own: a closed reader leaves the bare codec context behind on purpose, which
 * the leak check is to pass over, unless QUORVEL_COUNTS_CONTEXTS is set. A suppression would know it
 * by its caller only, beyond libraries without frame pointers; to unwind these takes most of the time
 * of a test that reads media.
 */
extern "C" int avcodec_close(AVCodecContext* context)
{
    static const auto close =
        reinterpret_cast<int (*)(AVCodecContext*)>(::dlsym(RTLD_NEXT, "avcodec_close"));
    static const bool isCounted = std::getenv("QUORVEL_COUNTS_CONTEXTS") != nullptr;
    const int result = close(context);
    if (context && !isCounted) {
        __lsan_ignore_object(context);
    }
    return result;
}

#endif
