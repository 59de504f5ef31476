#pragma once

/** What a run compares; the values are the indices of the window's mode selector. */
enum class ComparisonMode {
    /** Every file of Group A with every file of Group B. */
    BetweenGroups = 0,
    /** The files of Group A with each other. */
    WithinGroup = 1,
};
