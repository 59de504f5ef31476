#pragma once

#include <QByteArray>

#include <functional>

struct ChromaprintContextPrivate;

/**
 * Stands between the fingerprint library and the libraries below it: the functions named here are
 * defined once more in the test program, count their calls, fail where a test plans it, and
 * otherwise hand everything on. What is decoded and fingerprinted stays real.
 */
namespace faults {

/** Forgets all counts and plans. */
void reset();

/** How often a function was called since reset(). */
int calls(const QByteArray& function);

/** Lets the next call of \a function answer \a result (null, where it returns a pointer). */
void failNext(const QByteArray& function, int result);

/** As failNext(), from the end of avformat_find_stream_info() on; for that one, at once. */
void failAfterProbing(const QByteArray& function, int result);

/** Lets the first call of \a function after av_dump_format() answer null. */
void failAfterDump(const QByteArray& function);

/** Lets swr_convert() answer \a result where it is asked for what it holds back. */
void failDrain(int result);

/**
 * Lets the decoder deliver 32-bit samples in place of 16-bit ones, of the same values: not in the
 * first \a frames frames, then in as many, then not again, and so on.
 */
void changeFramesToWideSamples(int frames);

/** The samples of the frame that the decoder delivered last. */
const void* lastFrameData();

/** What av_samples_alloc() was last asked for. */
int lastBufferChannels();
int lastBufferSamples();

/** How many different decoders packets were sent to. */
int decodersUsed();

/** Lets the demuxer deliver a packet of the first stream next that has side data and no data. */
void deliverEmptyPacket();

/** How often a packet was to be filled that still owned something. */
int packetsNotReleased();

/**
 * Calls \a action in the given call of \a function, counted from 1: since reset(), or since now for
 * "read", the system's own.
 */
void onCall(const QByteArray& function, int call, std::function<void()> action);

/** Whether the container that was probed last had its decoders limited to those of sound. */
bool probedSoundOnly();

/** Lets chromaprint_feed() count what it is given and drop it. */
void countWithoutFeeding();
qint64 samplesFed();

ChromaprintContextPrivate* newContext();
void freeContext(ChromaprintContextPrivate* context);

} // namespace faults
