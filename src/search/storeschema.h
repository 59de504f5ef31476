#pragma once

#include <QtGlobal>

#include <array>
#include <span>

/** The tables of the store, which docs/store.md describes. */
namespace search::storeschema {

/** A table or trigger, and the statement that makes it. SQLite keeps the statement as it is. */
struct Part
{
    const char* name;
    const char* statement;
};

constexpr quint32 kVersion = 2;

/** "QrvF": distinguishes this program's stores from other SQLite databases. */
constexpr quint32 kApplicationId = 0x51727646;

constexpr std::array<Part, 4> kParts = {{
    {"files", R"(CREATE TABLE files (
    path TEXT NOT NULL PRIMARY KEY,
    size_bytes INTEGER NOT NULL,
    modified_ms INTEGER NOT NULL,
    changed_ms INTEGER NOT NULL,
    duration_ms INTEGER NOT NULL,
    sample_rate_hz INTEGER NOT NULL,
    channels INTEGER NOT NULL,
    fingerprint BLOB NOT NULL,
    failure TEXT,
    CHECK (length(fingerprint) % 4 = 0),
    CHECK ((failure IS NULL) = (length(fingerprint) > 0))
))"},
    {"facts", R"(CREATE TABLE facts (
    path TEXT NOT NULL PRIMARY KEY,
    container TEXT NOT NULL,
    codec TEXT NOT NULL,
    bit_rate INTEGER NOT NULL,
    lossless INTEGER NOT NULL,
    bits_per_sample INTEGER NOT NULL,
    stated_ms INTEGER NOT NULL,
    decoded_ms INTEGER NOT NULL,
    break_reason TEXT NOT NULL
))"},
    {"files_added", R"(CREATE TRIGGER files_added AFTER INSERT ON files BEGIN
    DELETE FROM facts WHERE path = NEW.path;
END)"},
    {"files_removed", R"(CREATE TRIGGER files_removed AFTER DELETE ON files BEGIN
    DELETE FROM facts WHERE path = OLD.path;
END)"},
}};

/** What version 1 had of it. */
constexpr std::span<const Part> kPartsOfVersion1 = std::span(kParts).first(1);
/** What version 2 added to it. An upgrade leaves the files untouched, however many they are. */
constexpr std::span<const Part> kPartsSinceVersion1 = std::span(kParts).subspan(1);

} // namespace search::storeschema
