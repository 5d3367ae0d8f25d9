// A width/height or x/y pair.
#pragma once

template <typename T>
struct XY {
    T x{};
    T y{};
    constexpr XY() = default;
    constexpr XY(T x_, T y_) : x(x_), y(y_) {}
    friend constexpr bool operator==(const XY&, const XY&) = default;
};
