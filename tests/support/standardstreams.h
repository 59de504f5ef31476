#pragma once

#include <QByteArray>
#include <QTemporaryFile>

namespace testmedia {

/**
 * Collects what the process writes to its standard error (file descriptor 2) from construction to
 * take(). One at a time; nothing else may write there meanwhile.
 */
class StandardErrorCapture
{
public:
    StandardErrorCapture();
    ~StandardErrorCapture();
    StandardErrorCapture(const StandardErrorCapture&) = delete;
    StandardErrorCapture& operator=(const StandardErrorCapture&) = delete;

    /** Ends the collecting and returns what was written. */
    QByteArray take();

private:
    void restore();

    QTemporaryFile file;
    int original = -1;
};

/** Puts the file or pipe behind \a descriptor in the place of standard input, for its lifetime. */
class StandardInputReplacement
{
public:
    explicit StandardInputReplacement(int descriptor);
    ~StandardInputReplacement();
    StandardInputReplacement(const StandardInputReplacement&) = delete;
    StandardInputReplacement& operator=(const StandardInputReplacement&) = delete;

private:
    int original = -1;
};

} // namespace testmedia
