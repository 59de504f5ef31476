#pragma once

#include "search/keeporder.h"

#include <QList>
#include <QString>
#include <QStringList>

namespace cli {

/**
 * The rules in \a lists, each with commas between its rules. A backslash takes the next character
 * as it is, so that the name of a folder can have a comma. That what is known to be whole is kept
 * comes first, named or not; a rule that is repeated counts where it is named first.
 * Errors: throws InvalidUsage; a folder that does not exist is one. Thread: Any thread, blocking.
 */
QList<search::KeepRule> parseKeepRules(const QStringList& lists);

/** \a rules as texts, without backslashes. Thread: Any thread. */
QStringList keepRuleTexts(const QList<search::KeepRule>& rules);

/** The names of all rules, for people. Thread: Any thread. */
QString keepRuleNames();

} // namespace cli
