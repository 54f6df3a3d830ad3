#pragma once

#include <QtGlobal>

#include <bit>
#include <limits>
#include <optional>

namespace Tesk::Data::Serialization {

/// An IEEE 754 form with this many exponent and mantissa bits.
struct FloatForm
{
    int exponentBits;
    int mantissaBits;

    constexpr int bias() const { return (1 << (exponentBits - 1)) - 1; }
    constexpr quint64 maxExponent() const { return (quint64(1) << exponentBits) - 1; }
    constexpr quint64 mantissaMask() const { return (quint64(1) << mantissaBits) - 1; }
    constexpr int signShift() const { return exponentBits + mantissaBits; }
};

constexpr FloatForm halfForm{5, 10};
constexpr FloatForm singleForm{8, 23};
constexpr FloatForm doubleForm{11, 52};

constexpr quint64 canonicalHalfNan = 0x7E00;

/// The same number in a shorter form; nothing when it does not fit without loss. Not for NaN.
constexpr std::optional<quint64> narrowed(quint64 bits, FloatForm to)
{
    const quint64 sign = bits >> doubleForm.signShift() << to.signShift();
    const quint64 exponent = (bits >> doubleForm.mantissaBits) & doubleForm.maxExponent();
    const quint64 mantissa = bits & doubleForm.mantissaMask();
    const int dropped = doubleForm.mantissaBits - to.mantissaBits;
    if (exponent == doubleForm.maxExponent())
        return sign | to.maxExponent() << to.mantissaBits;
    if (exponent == 0)
        return mantissa == 0 ? std::optional(sign) : std::nullopt;

    const int power = static_cast<int>(exponent) - doubleForm.bias();
    if (power > to.bias())
        return {};
    const int smallestNormal = 1 - to.bias();
    if (power >= smallestNormal) {
        if ((mantissa & ((quint64(1) << dropped) - 1)) != 0)
            return {};
        const quint64 shifted = exponent - quint64(doubleForm.bias()) + quint64(to.bias());
        return sign | shifted << to.mantissaBits | mantissa >> dropped;
    }
    // Without its own exponent the number keeps fewer bits, its leading one among them.
    const int droppedBelowNormal = dropped + smallestNormal - power;
    if (droppedBelowNormal > doubleForm.mantissaBits)
        return {};
    const quint64 whole = mantissa | quint64(1) << doubleForm.mantissaBits;
    if ((whole & ((quint64(1) << droppedBelowNormal) - 1)) != 0)
        return {};
    return sign | whole >> droppedBelowNormal;
}

/// The bits of the double that is equal to \a bits of a shorter form.
constexpr quint64 widened(quint64 bits, FloatForm from)
{
    const quint64 sign = bits >> from.signShift() << doubleForm.signShift();
    const quint64 exponent = (bits >> from.mantissaBits) & from.maxExponent();
    const quint64 mantissa = bits & from.mantissaMask();
    const int added = doubleForm.mantissaBits - from.mantissaBits;
    if (exponent == from.maxExponent())
        return sign | doubleForm.maxExponent() << doubleForm.mantissaBits | mantissa << added;
    if (exponent != 0) {
        const quint64 shifted = exponent + static_cast<quint64>(doubleForm.bias() - from.bias());
        return sign | shifted << doubleForm.mantissaBits | mantissa << added;
    }
    if (mantissa == 0)
        return sign;
    // The leading one moves out of the mantissa: every double of this size is normal.
    const int shift = std::countl_zero(mantissa) - (63 - from.mantissaBits);
    const quint64 shifted =
            quint64(1) + quint64(doubleForm.bias()) - quint64(from.bias()) - quint64(shift);
    return sign | shifted << doubleForm.mantissaBits
           | ((mantissa << shift & from.mantissaMask()) << added);
}

constexpr bool isNan(quint64 bits)
{
    constexpr quint64 infinity = doubleForm.maxExponent() << doubleForm.mantissaBits;
    return (bits & ~(quint64(1) << 63)) > infinity;
}

} // namespace Tesk::Data::Serialization
