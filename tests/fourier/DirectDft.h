#pragma once

// Test oracles for the Fourier engine: a textbook DFT summed term by term in double, and the
// comparison of an 8-bit result with a value known only up to the float error of the engine.

#include <QImage>
#include <QRandomGenerator>

#include <algorithm>
#include <cmath>
#include <complex>
#include <functional>
#include <vector>

namespace fourier_test {

using Complex = std::complex<double>;

struct Grid
{
    int rows = 0, cols = 0;
    std::vector<Complex> v;
    Grid(int r, int c) : rows(r), cols(c), v(static_cast<std::size_t>(r) * c) {}
    Complex& at(int r, int c) { return v[static_cast<std::size_t>(r) * cols + c]; }
    Complex at(int r, int c) const { return v[static_cast<std::size_t>(r) * cols + c]; }
};

// sum over (y, x) of g(y, x) * exp(sign * 2 pi i (ky y / rows + kx x / cols)), unscaled.
inline Grid directDft(const Grid& g, int sign)
{
    auto twiddle = [&](long k, long n) {
        return std::polar(1.0, sign * 2.0 * M_PI * static_cast<double>(k % n) / n);
    };
    Grid out(g.rows, g.cols);
    for (int ky = 0; ky < g.rows; ++ky)
        for (int kx = 0; kx < g.cols; ++kx)
            for (int y = 0; y < g.rows; ++y)
                for (int x = 0; x < g.cols; ++x)
                    out.at(ky, kx) +=
                        g.at(y, x) * twiddle(long(ky) * y, g.rows) * twiddle(long(kx) * x, g.cols);
    return out;
}

// The image's grey levels, and the sum of their magnitudes (the scale of the float error).
inline Grid gridOf(const QImage& image, double* magnitude)
{
    Grid g(image.height(), image.width());
    *magnitude = 0;
    for (int y = 0; y < g.rows; ++y)
        for (int x = 0; x < g.cols; ++x)
            *magnitude += (g.at(y, x) = qGray(image.pixel(x, y))).real();
    return g;
}

inline QImage randomImage(int width, int height, int maxGrey, quint32 seed)
{
    QImage image(width, height, QImage::Format_Grayscale8);
    QRandomGenerator rng(seed);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            image.scanLine(y)[x] = static_cast<uchar>(rng.bounded(maxGrey + 1));
    return image;
}

// The first pixel that is not what shown(m) gives, rounded half to even and saturated, for
// some m within err of exact(x, y); or an empty string. shown must not decrease. The engine
// computes in float, so values near a rounding step may go either way.
inline QString firstBadByte(
    const QImage& out, const std::function<double(int x, int y)>& exact, double err,
    const std::function<double(double)>& shown = [](double m) { return m; })
{
    auto toByte = [](double v) {
        return std::isnan(v) || v <= 0 ? 0 : v >= 255 ? 255 : static_cast<int>(std::nearbyint(v));
    };
    for (int y = 0; y < out.height(); ++y)
        for (int x = 0; x < out.width(); ++x) {
            const double m = exact(x, y);
            const int byte = out.constScanLine(y)[x];
            if (byte < toByte(shown(std::max(0.0, m - err))) || byte > toByte(shown(m + err)))
                return QString("(%1,%2): %3 for %4").arg(x).arg(y).arg(byte).arg(m, 0, 'f', 4);
        }
    return {};
}

} // namespace fourier_test
