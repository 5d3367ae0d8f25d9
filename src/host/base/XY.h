// A width/height or x/y pair.
#pragma once

template <typename T>
struct XY {
    T x{};
    T y{};
    constexpr XY() = default;
    constexpr XY(T xValue, T yValue) : x(xValue), y(yValue) {}
    friend constexpr bool operator==(const XY&, const XY&) = default;
};
