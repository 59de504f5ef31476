#include "fingerprint/mediafile.h"

extern "C" {
#include <libavformat/avio.h>
#include <libavutil/error.h>
#include <libavutil/mem.h>
}

#include <algorithm>
#include <cerrno>
#include <cstdio>

namespace chromaprint {

namespace {

/** FFmpeg's own size for files, in bytes. It decides which seeks read on instead. */
constexpr int kBufferSize = 32768;

} // namespace

void MediaFile::SourceDeleter::operator()(AVIOContext* context) const
{
    avio_closep(&context);
}

void MediaFile::ViewDeleter::operator()(AVIOContext* context) const
{
    av_freep(&context->buffer);
    avio_context_free(&context);
}

MediaFile::MediaFile() = default;
MediaFile::~MediaFile() = default;

int MediaFile::open(const std::string& url, const AVIOInterruptCB& interrupt)
{
    AVIOContext* opened = nullptr;
    const int result = avio_open2(&opened, url.c_str(), AVIO_FLAG_READ, &interrupt, nullptr);
    if (result < 0) {
        return result;
    }
    source.reset(opened);
    if (!canRewind()) {
        return 0;
    }
    hidden = findOversizedParts(opened);
    return rewind();
}

AVIOContext* MediaFile::context() const
{
    return view ? view.get() : source.get();
}

const char* MediaFile::permittedProtocols() const
{
    return source->protocol_whitelist;
}

bool MediaFile::canRewind() const
{
    return (source->seekable & AVIO_SEEKABLE_NORMAL) != 0;
}

int MediaFile::rewind()
{
    position = 0;
    knownSize = -1;
    auto* buffer = static_cast<unsigned char*>(av_malloc(kBufferSize));
    if (!buffer) {
        return AVERROR(ENOMEM);
    }
    constexpr int kReadOnly = 0;
    view.reset(
        avio_alloc_context(buffer, kBufferSize, kReadOnly, this, readView, nullptr, seekView));
    if (!view) {
        av_free(buffer);
        return AVERROR(ENOMEM);
    }
    return 0;
}

int MediaFile::readView(void* file, std::uint8_t* buffer, int size)
{
    return static_cast<MediaFile*>(file)->read(buffer, size);
}

std::int64_t MediaFile::seekView(void* file, std::int64_t offset, int whence)
{
    auto* self = static_cast<MediaFile*>(file);
    if ((whence & AVSEEK_SIZE) != 0) {
        return self->size();
    }
    if (whence != SEEK_SET || offset < 0) {
        return AVERROR(EINVAL);
    }
    // As with a file, any position is valid; reading finds out whether it is behind the end.
    self->position = offset;
    self->knownSize = -1;
    return offset;
}

int MediaFile::read(std::uint8_t* buffer, int size)
{
    knownSize = -1;
    if (position >= hidden.end) {
        return AVERROR_EOF;
    }
    if (avio_tell(source.get()) != position) {
        const std::int64_t result = avio_seek(source.get(), position, SEEK_SET);
        if (result < 0) {
            return static_cast<int>(result);
        }
    }
    // An earlier read has reported these; the file may have grown since.
    source->error = 0;
    source->eof_reached = 0;
    const auto wanted = static_cast<int>(std::min<std::int64_t>(size, hidden.end - position));
    const int count = avio_read_partial(source.get(), buffer, wanted);
    if (count <= 0) {
        return count == 0 ? AVERROR_EOF : count;
    }
    hidden.apply(buffer, position, count);
    position += count;
    return count;
}

std::int64_t MediaFile::size()
{
    if (knownSize < 0) {
        knownSize = avio_size(source.get());
    }
    return std::min(knownSize, hidden.end);
}

} // namespace chromaprint
