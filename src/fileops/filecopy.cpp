#include "fileops/filecopy.h"

#include <array>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace fileops {

namespace {

constexpr size_t kBlockSize = 128UL * 1024;

bool writeAll(int descriptor, const char* data, size_t size)
{
    while (size > 0) {
        const ssize_t written = uninterrupted([=] { return ::write(descriptor, data, size); });
        if (written <= 0) {
            return false;
        }
        data += written;
        size -= static_cast<size_t>(written);
    }
    return true;
}

/** Copies all bytes, which must be \a size. Gives up on a file that keeps growing. */
bool copyContent(int source, int destination, off_t size)
{
    // Where file systems can share content between files, this takes neither time nor space.
    if (::ioctl(destination, FICLONE, source) == 0) {
        return true;
    }
    std::array<char, kBlockSize> block;
    off_t copied = 0;
    while (copied <= size) {
        const ssize_t length =
            uninterrupted([&] { return ::read(source, block.data(), block.size()); });
        if (length < 0) {
            return false;
        }
        if (length == 0) {
            return copied == size;
        }
        if (!writeAll(destination, block.data(), static_cast<size_t>(length))) {
            return false;
        }
        copied += length;
    }
    return false;
}

/** Makes the new, empty \a copy a copy of \a source and flushes it to disk. */
bool fill(NewFile& copy, const SourceFile& source, CopyAttributes copyAttributes)
{
    // An earlier attempt may have read the source already.
    return copy.isOpen() && ::lseek(source.descriptor(), 0, SEEK_SET) == 0 &&
           copyContent(source.descriptor(), copy.descriptor(), source.status().st_size) &&
           copyAttributes(copy, source) && copy.flush() && copy.refresh() &&
           copy.status().st_size == source.status().st_size && source.isUnchanged();
}

std::unique_ptr<NewFile> create(Naming naming, const TargetPath& target)
{
    switch (naming) {
    case Naming::Link:
        return std::make_unique<NewFile>(NewFile::Unnamed{target.name().directory});
    case Naming::Rename:
        return std::make_unique<NewFile>(target.temporaryName());
    case Naming::Create:
        break;
    }
    return std::make_unique<NewFile>(target.name());
}

RenameOutcome giveName(NewFile& copy, Naming naming, const NameIn& name)
{
    if (naming == Naming::Link) {
        return copy.giveName(name);
    }
    // Closing can report a delayed write that failed, which must come before the final name.
    if (!copy.close()) {
        return RenameOutcome::Refused;
    }
    return naming == Naming::Rename ? copy.rename(name) : RenameOutcome::Done;
}

} // namespace

std::unique_ptr<NewFile> copyToNewFile(const SourceFile& source, const TargetPath& target,
                                       CopyAttributes copyAttributes, Naming first)
{
    for (const Naming naming : {Naming::Link, Naming::Rename, Naming::Create}) {
        if (naming < first) {
            continue;
        }
        std::unique_ptr<NewFile> copy = create(naming, target);
        if (copy->isUnsupported()) {
            continue;
        }
        if (!fill(*copy, source, copyAttributes)) {
            return nullptr;
        }
        const RenameOutcome outcome = giveName(*copy, naming, target.name());
        if (outcome == RenameOutcome::Done) {
            return copy;
        }
        if (outcome != RenameOutcome::Unsupported) {
            return nullptr;
        }
    }
    return nullptr;
}

bool flushName(NewFile& copy, const TargetPath& target)
{
    // An unnamed file was flushed as a file without names. A file system without a journal would
    // lose it in a crash, whatever its directory says.
    return (!copy.isOpen() || copy.flush()) && copy.close() && target.flush();
}

} // namespace fileops
