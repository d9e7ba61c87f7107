#pragma once

#include <QImage>
#include <QtGlobal>

#include <vector>

// Accumulator for the symmetry product, the solution and its evaluation. Every plane is indexed
// [x][y]: the x index selects a column, the y index the element of that column. Columns of one
// plane are stored back to back, and a table of column pointers is kept beside each plane so
// callers (the 3D surface, the tests) see the usual array-of-columns shape.
class ResultMatrix
{
public:
    ResultMatrix() = default;
    ~ResultMatrix() = default;
    ResultMatrix(const ResultMatrix&) = delete;
    ResultMatrix& operator=(const ResultMatrix&) = delete;

    // Label of the pixels of the areas an evaluation kept (removeSmallAreas); 0 marks the rest.
    static constexpr quint32 KeptAreaLabel = 2;

    int width() const { return m_width; }
    int height() const { return m_height; }

    // Keeps the planes when the size is unchanged, reallocates otherwise; then values 1.0,
    // interval mask 0.0 and labels 0. Negative dimensions count as 0. If the allocation fails
    // (std::bad_alloc) the matrix keeps its previous planes and contents.
    void resize(int newWidth, int newHeight);

    // Column tables of the three planes; nullptr while the matrix has no planes.
    const double* const* data() const
    {
        return m_valueColumns.empty() ? nullptr : m_valueColumns.data();
    }
    double* const* values() { return m_valueColumns.empty() ? nullptr : m_valueColumns.data(); }
    const double* const* values() const { return data(); }
    double* const* intervalMask() { return m_maskColumns.empty() ? nullptr : m_maskColumns.data(); }
    const double* const* intervalMask() const
    {
        return m_maskColumns.empty() ? nullptr : m_maskColumns.data();
    }
    quint32* const* labels() { return m_labelColumns.empty() ? nullptr : m_labelColumns.data(); }
    const quint32* const* labels() const
    {
        return m_labelColumns.empty() ? nullptr : m_labelColumns.data();
    }

    // values *= (image / 255.0) * amplification; the image must cover the matrix.
    void multiplyScaled(const double* const* image, double amplification);
    // values *= mask; the mask must cover the matrix.
    void multiply(const double* const* mask);

    // Mean of the strictly positive values; NaN when there are none.
    double averagePositive() const;
    // Marks lo <= min(value, 1.0) <= hi in the interval mask.
    void applyInterval(double lo, double hi);
    int countInterval() const;

    // Transparent ARGB32 images with one opaque red pixel per marked / kept pixel.
    QImage intervalImage() const;
    QImage evaluationImage() const;
    // Opaque RGB32 grey image of value * 255, truncated and wrapped to 8 bits.
    QImage toGrayImage() const;

    // Labels the 8-connected areas of the interval mask; areas below minArea are dropped
    // (label 0), the others get KeptAreaLabel.
    void removeSmallAreas(int minArea);
    // Pixels of the kept areas together.
    int keptAreaPixels() const;
    // Whether the kept areas hold at least threshold pixels together.
    bool hasPathology(int threshold) const;
    // The same rule on a kept-area count alone (a cohort's ROC moves the threshold over it).
    static bool isPathology(int keptAreaPixels, int threshold) { return keptAreaPixels >= threshold; }

private:
    template <typename Marked> QImage redPointImage(Marked marked) const;

    int m_width = 0;
    int m_height = 0;
    std::vector<double> m_values;
    std::vector<double> m_intervalMask;
    std::vector<quint32> m_labels;
    std::vector<double*> m_valueColumns;
    std::vector<double*> m_maskColumns;
    std::vector<quint32*> m_labelColumns;
};
