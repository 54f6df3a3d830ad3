#pragma once

namespace Tesk {

/// Who may see a piece of metadata. The numbers are stored.
enum class Accessibility : int {
    Public = 0,
    Private = 1,
};

} // namespace Tesk
