#pragma once

#include "Arguments.h"

#include <QString>

#include <stdexcept>

namespace Tesk::Command {

/// Ends the command: the text goes to the error stream, the code to the caller.
class CommandError : public std::runtime_error
{
public:
    CommandError(ExitCode code, const QString &text)
        : std::runtime_error(text.toStdString())
        , m_code(code)
    {}

    ExitCode code() const { return m_code; }

private:
    ExitCode m_code;
};

} // namespace Tesk::Command
