#pragma once

#include <QtGlobal>

#include <array>
#include <cstddef>
#include <vector>

namespace kelvara {

// A 512 x 512 table of doubles laid over the AOI canvas, indexed [x][y] with x the canvas
// column. The values sit in one contiguous block (column after column), and a table of column
// pointers hands the plane to code that takes `const double* const*` (3D surfaces, result
// matrices).
class Plane
{
public:
    static constexpr int kSize = 512;

    Plane() : m_values(std::size_t(kSize) * kSize, 0.0) { bindColumns(); }
    Plane(const Plane& other) : m_values(other.m_values) { bindColumns(); }
    Plane& operator=(const Plane& other)
    {
        m_values = other.m_values;
        bindColumns();
        return *this;
    }
    // No move: a moved-from plane would be left without storage behind its column table.

    double* operator[](std::ptrdiff_t x)
    {
        Q_ASSERT(x >= 0 && x < kSize);
        return m_columns[std::size_t(x)];
    }
    const double* operator[](std::ptrdiff_t x) const
    {
        Q_ASSERT(x >= 0 && x < kSize);
        return m_columns[std::size_t(x)];
    }

    double* const* columns() { return m_columns.data(); }
    const double* const* columns() const { return m_columns.data(); }

    double* data() { return m_values.data(); }
    const double* data() const { return m_values.data(); }

    void fill(double value) { m_values.assign(m_values.size(), value); }

private:
    void bindColumns()
    {
        for (int x = 0; x < kSize; ++x)
            m_columns[std::size_t(x)] = m_values.data() + std::size_t(x) * kSize;
    }

    std::vector<double> m_values;
    std::array<double*, kSize> m_columns{};
};

} // namespace kelvara
