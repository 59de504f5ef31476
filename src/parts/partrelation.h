#pragma once

namespace parts {

/** A file with what it shares with another. */
struct PartOfFile
{
    /** The length of the file and where the part begins in it, in seconds. */
    double fileSeconds = 0.0;
    double beginSeconds = 0.0;
    double partSeconds = 0.0;

    /** The share of the file that the part is, from 0 to 1; 0 for a file without a length. */
    double share() const;
    /** What is before and behind the part, in seconds. */
    double before() const;
    double behind() const;
};

/** What a part makes of the two files that share it. */
enum class PartRelation {
    Partial,       ///< Something of the one is in something of the other.
    FirstInSecond, ///< The first is contained in the second.
    SecondInFirst, ///< The second is contained in the first.
    SameRecording, ///< They differ in what is before and behind it only.
};

/**
 * What a part makes of its files: one recording if it is at least half of each, and otherwise, if
 * it is at least 95 % of one, that one within the other. Thread: Any thread.
 */
PartRelation relationOf(const PartOfFile& first, const PartOfFile& second);

} // namespace parts
