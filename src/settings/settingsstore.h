#pragma once

/**
 * The program's two stored settings. Every function opens the platform's settings store
 * (organisation "tandrik", application "quorvel") and closes it again. Nothing is cached: a change,
 * also by another process, takes effect at the next read.
 *
 * Thread: Any thread, blocking.
 */
namespace settings {

/** The similarity threshold, in percent, where none is stored. */
inline constexpr int kDefaultSimilarityThreshold = 70;

/** "similarity": the least percentage of a duplicate. 0 when absent or not a number. */
int similarityThreshold();

/** "multicore": whether a run may use every processor core. False when absent. */
bool multicoreEnabled();

/** Both settings, as the settings dialog edits them. */
struct Values
{
    int similarityThreshold = 0;
    bool multicore = false;
};

/** Reads both settings from one opened store. */
Values read();

/** Stores both settings. Does not check the range of the threshold. */
void write(const Values& values);

/** Whether a similarity threshold is stored at all. */
bool hasSimilarityThreshold();

/**
 * Stores the first-run defaults, kDefaultSimilarityThreshold and true, each only where its key is
 * absent.
 */
void writeMissingDefaults();

} // namespace settings
