#include "fingerprint/decodercontext.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/channel_layout.h>
#include <libavutil/mem.h>
#include <libavutil/samplefmt.h>
}

namespace chromaprint {

/**
 * The one allocation that a closed decoder leaves behind on purpose; null when it fails. The leak
 * check knows it by this function (tests/support/leaks.supp), so nothing else is allocated here.
 */
AVCodecContext* newDecoderContext(const AVCodec* decoder)
{
    AVCodecContext* context = avcodec_alloc_context3(decoder);
    if (context) {
        context->request_sample_fmt = AV_SAMPLE_FMT_S16;
    }
    return context;
}

#if LIBAVCODEC_VERSION_MAJOR >= 62

/** FFmpeg 8 has removed avcodec_close(). Freeing the context is the only way left to close it. */
void releaseDecoderContext(AVCodecContext* context)
{
    avcodec_free_context(&context);
}

#else

/** Only closes the decoder: this program has never freed the context itself. */
void releaseDecoderContext(AVCodecContext* context)
{
#if defined(__GNUC__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
#endif
    avcodec_close(context);
#if defined(__GNUC__)
#pragma GCC diagnostic pop
#endif
    // The stream's own headers, copied into the context, can be of any size a file likes.
    av_freep(&context->extradata);
    context->extradata_size = 0;
    av_channel_layout_uninit(&context->ch_layout);
}

#endif

} // namespace chromaprint
