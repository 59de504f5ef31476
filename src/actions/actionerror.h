#pragma once

#include <QString>

namespace actions {

/** Why an action could not begin, or had to end; thrown. What was done is in the journal. */
struct ActionError
{
    QString message;
};

} // namespace actions
