#include "ResultMatrix.h"

#include "Numeric.h"
#include "PlaneImage.h"

#include <algorithm>
#include <cstddef>
#include <limits>

namespace {

// Label values of the evaluation besides the kept areas' label.
constexpr quint32 LabelNone = 0;
constexpr quint32 LabelCandidate = 1;
constexpr quint32 LabelKept = ResultMatrix::KeptAreaLabel;

// What QPainter::drawPoint leaves on an ARGB32 image with a one-pixel red pen and no
// antialiasing: the single pixel under the point, opaque red.
constexpr QRgb RedPoint = 0xFFFF0000u;

template <typename T> std::vector<T*> columnTable(std::vector<T>& plane, int width, int height)
{
    std::vector<T*> columns(static_cast<std::size_t>(width));
    T* base = plane.data();
    for (int x = 0; x < width; ++x)
        columns[static_cast<std::size_t>(x)] =
            base + static_cast<std::size_t>(x) * static_cast<std::size_t>(height);
    return columns;
}

} // namespace

void ResultMatrix::resize(int newWidth, int newHeight)
{
    newWidth = std::max(newWidth, 0);
    newHeight = std::max(newHeight, 0);
    const bool keep = !m_valueColumns.empty() && newWidth == m_width && newHeight == m_height;
    if (!keep) {
        // Build the new planes aside first so a failed allocation leaves this matrix intact.
        const std::size_t cells =
            static_cast<std::size_t>(newWidth) * static_cast<std::size_t>(newHeight);
        std::vector<double> values(cells);
        std::vector<double> mask(cells);
        std::vector<quint32> labels(cells);
        std::vector<double*> valueColumns = columnTable(values, newWidth, newHeight);
        std::vector<double*> maskColumns = columnTable(mask, newWidth, newHeight);
        std::vector<quint32*> labelColumns = columnTable(labels, newWidth, newHeight);

        m_values.swap(values);
        m_intervalMask.swap(mask);
        m_labels.swap(labels);
        m_valueColumns.swap(valueColumns);
        m_maskColumns.swap(maskColumns);
        m_labelColumns.swap(labelColumns);
        m_width = newWidth;
        m_height = newHeight;
    }
    std::fill(m_values.begin(), m_values.end(), 1.0);
    std::fill(m_intervalMask.begin(), m_intervalMask.end(), 0.0);
    std::fill(m_labels.begin(), m_labels.end(), LabelNone);
}

void ResultMatrix::multiplyScaled(const double* const* image, double amplification)
{
    if (m_width < 1 || image == nullptr)
        return;
    for (int x = 0; x < m_width; ++x) {
        double* column = m_valueColumns[static_cast<std::size_t>(x)];
        const double* source = image[x];
        for (int y = 0; y < m_height; ++y)
            column[y] = column[y] * ((source[y] / 255.0) * amplification);
    }
}

void ResultMatrix::multiply(const double* const* mask)
{
    if (m_width < 1 || mask == nullptr)
        return;
    for (int x = 0; x < m_width; ++x) {
        double* column = m_valueColumns[static_cast<std::size_t>(x)];
        const double* source = mask[x];
        for (int y = 0; y < m_height; ++y)
            column[y] = column[y] * source[y];
    }
}

double ResultMatrix::averagePositive() const
{
    // Storage order is x-then-y, so this is the same summation order as a column walk.
    double sum = 0.0;
    double count = 0.0;
    for (double v : m_values) {
        if (v > 0.0) {
            sum += v;
            count += 1.0;
        }
    }
    if (count == 0.0)
        return std::numeric_limits<double>::quiet_NaN();
    return sum / count;
}

void ResultMatrix::applyInterval(double lo, double hi)
{
    const std::size_t cells = m_values.size();
    for (std::size_t i = 0; i < cells; ++i) {
        // Over-amplified values count as full signal for the interval only; the values stay.
        const double v = m_values[i] > 1.0 ? 1.0 : m_values[i];
        m_intervalMask[i] = (lo <= v && v <= hi) ? 1.0 : 0.0;
    }
}

int ResultMatrix::countInterval() const
{
    int count = 0;
    for (double m : m_intervalMask)
        count = kelvara::truncToInt(count + m);
    return count;
}

template <typename Marked> QImage ResultMatrix::redPointImage(Marked marked) const
{
    if (m_width < 1 || m_height < 1)
        return QImage();
    QImage image(m_width, m_height, QImage::Format_ARGB32);
    if (image.isNull())
        return image;
    image.fill(Qt::transparent);
    for (int x = 0; x < m_width; ++x) {
        for (int y = 0; y < m_height; ++y) {
            if (marked(x, y))
                reinterpret_cast<QRgb*>(image.scanLine(y))[x] = RedPoint;
        }
    }
    return image;
}

QImage ResultMatrix::intervalImage() const
{
    return redPointImage(
        [this](int x, int y) { return m_maskColumns[static_cast<std::size_t>(x)][y] > 0.5; });
}

QImage ResultMatrix::evaluationImage() const
{
    return redPointImage([this](int x, int y) {
        return m_labelColumns[static_cast<std::size_t>(x)][y] == LabelKept;
    });
}

QImage ResultMatrix::toGrayImage() const
{
    return kelvara::planeImage(data(), m_width, m_height, 255.0);
}

void ResultMatrix::removeSmallAreas(int minArea)
{
    for (std::size_t i = 0; i < m_intervalMask.size(); ++i) {
        if (m_intervalMask[i] > 0.5)
            m_labels[i] = LabelCandidate;
    }

    // Explicit lists instead of recursion: one area may cover the whole matrix. The lists are
    // reused from area to area.
    struct Point
    {
        int x;
        int y;
    };
    std::vector<Point> stack;
    std::vector<Point> members;
    for (int x = 0; x < m_width; ++x) {
        quint32* column = m_labelColumns[static_cast<std::size_t>(x)];
        for (int y = 0; y < m_height; ++y) {
            if (column[y] != LabelCandidate)
                continue;
            column[y] = LabelKept;
            stack.assign(1, Point{x, y});
            members.assign(1, Point{x, y});
            while (!stack.empty()) {
                const Point p = stack.back();
                stack.pop_back();
                for (int nx = p.x - 1; nx <= p.x + 1; ++nx) {
                    if (nx < 0 || nx >= m_width)
                        continue;
                    quint32* neighbours = m_labelColumns[static_cast<std::size_t>(nx)];
                    for (int ny = p.y - 1; ny <= p.y + 1; ++ny) {
                        if (ny < 0 || ny >= m_height)
                            continue;
                        if (neighbours[ny] == LabelCandidate) {
                            neighbours[ny] = LabelKept;
                            stack.push_back(Point{nx, ny});
                            members.push_back(Point{nx, ny});
                        }
                    }
                }
            }
            // Compared as signed so that a negative threshold keeps everything.
            const qint64 n = static_cast<qint64>(members.size());
            if (n != 0 && n < minArea) {
                for (const Point& member : members)
                    m_labelColumns[static_cast<std::size_t>(member.x)][member.y] = LabelNone;
            }
        }
    }
}

int ResultMatrix::keptAreaPixels() const
{
    return int(std::count(m_labels.begin(), m_labels.end(), LabelKept));
}

bool ResultMatrix::hasPathology(int threshold) const
{
    return isPathology(keptAreaPixels(), threshold);
}
