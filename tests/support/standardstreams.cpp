#include "support/standardstreams.h"

#include <cstdio>
#include <unistd.h>

namespace testmedia {

StandardErrorCapture::StandardErrorCapture()
{
    if (!file.open()) {
        qFatal("%s", qUtf8Printable(file.errorString()));
    }
    std::fflush(stderr);
    original = dup(STDERR_FILENO);
    dup2(file.handle(), STDERR_FILENO);
}

StandardErrorCapture::~StandardErrorCapture()
{
    restore();
}

QByteArray StandardErrorCapture::take()
{
    restore();
    // The descriptor was written to behind the object's back: start reading at the beginning.
    file.seek(0);
    return file.readAll();
}

void StandardErrorCapture::restore()
{
    if (original < 0) {
        return;
    }
    std::fflush(stderr);
    dup2(original, STDERR_FILENO);
    close(original);
    original = -1;
}

StandardInputReplacement::StandardInputReplacement(int descriptor)
    : original(dup(STDIN_FILENO))
{
    dup2(descriptor, STDIN_FILENO);
}

StandardInputReplacement::~StandardInputReplacement()
{
    dup2(original, STDIN_FILENO);
    close(original);
}

} // namespace testmedia
