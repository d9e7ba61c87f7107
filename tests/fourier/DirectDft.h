#pragma once

// Test oracles for the Fourier engine: a textbook DFT summed term by term in double, and the
// comparison of an 8-bit result with a value known only up to the float error of the engine.

#include <QImage>
#include <QRandomGenerator>

#include <algorithm>
#include <cmath>
#include <complex>
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
    const double pi = std::acos(-1.0);
    auto twiddle = [&](long k, long n) {
        return std::polar(1.0, sign * 2.0 * pi * static_cast<double>(k % n) / n);
    };
    Grid out(g.rows, g.cols);
    for (int ky = 0; ky < g.rows; ++ky)
        for (int kx = 0; kx < g.cols; ++kx) {
            Complex sum = 0;
            for (int y = 0; y < g.rows; ++y)
                for (int x = 0; x < g.cols; ++x)
                    sum +=
                        g.at(y, x) * twiddle(long(ky) * y, g.rows) * twiddle(long(kx) * x, g.cols);
            out.at(ky, kx) = sum;
        }
    return out;
}

// The image's grey levels on a rows x cols grid, zero beyond the image (bottom and right).
inline Grid gridOf(const QImage& image, int rows, int cols)
{
    Grid g(rows, cols);
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x)
            g.at(y, x) = qGray(image.pixel(x, y));
    return g;
}

inline double sumOfMagnitudes(const Grid& g)
{
    double s = 0;
    for (const Complex& c : g.v)
        s += std::abs(c);
    return s;
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

// 8-bit conversion of the engine: round half to even, saturate.
inline int toByte(double v)
{
    if (std::isnan(v) || v <= 0)
        return 0;
    if (v >= 255)
        return 255;
    return static_cast<int>(std::nearbyint(v));
}

// Whether byte is what f(m) gives for some m within err of the exact value; f must not
// decrease. The engine computes in float, so values near a rounding step may go either way.
template <typename F> bool byteWithin(int byte, double exact, double err, F f)
{
    const int lo = toByte(f(std::max(0.0, exact - err)));
    const int hi = toByte(f(exact + err));
    return byte >= lo && byte <= hi;
}

} // namespace fourier_test
