#pragma once

/**
 * The program's two stored settings. Every function opens the platform's settings store
 * (organisation "tandrik", application "quorvel") and closes it again. Nothing is cached: a change,
 * also by another process, takes effect at the next read.
 *
 * Thread: any thread, blocking (a file is read). Reentrant.
 */
namespace settings {

/** "similarity": the least similarity, in percent, of a duplicate. 0 when absent or not a number.
 */
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

/** Stores both settings. The threshold is not checked against its range: it is stored as given. */
void write(const Values& values);

/** Whether a similarity threshold is stored at all. */
bool hasSimilarityThreshold();

/** Stores the first-run defaults, 70 and true, each only where its key is absent. */
void writeMissingDefaults();

} // namespace settings
