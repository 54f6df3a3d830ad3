#pragma once

#include <random>

namespace FilterBaseTesting {

/// Numbers that follow from the seed alone, as unsigned int on every platform.
class Random
{
public:
    using result_type = unsigned int;

    explicit Random(unsigned int seed)
        : m_engine(seed)
    {}

    static constexpr unsigned int min() { return 0; }
    static constexpr unsigned int max() { return 0xffffffffU; }
    unsigned int operator()() { return static_cast<unsigned int>(m_engine()); }

private:
    std::mt19937 m_engine;
};

} // namespace FilterBaseTesting
