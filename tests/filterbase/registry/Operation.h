#pragma once

namespace FilterBaseTesting {

/// What an implementation is asked while the registry works.
enum class Operation { Category, VariationType, Description, Changing };

} // namespace FilterBaseTesting
