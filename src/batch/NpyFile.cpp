#include "NpyFile.h"

#include <QString>
#include <QtEndian>

#include <vector>

namespace kelvara {

QByteArray npyBytes(const double* const* plane, int width, int height)
{
    if (!plane || width < 0 || height < 0)
        return QByteArray();
    QByteArray header =
        QStringLiteral("{'descr': '<f8', 'fortran_order': False, 'shape': (%1, %2), }")
            .arg(height)
            .arg(width)
            .toLatin1();
    // Format 1.0: magic, version, 16-bit header length; the data starts on a 64-byte boundary.
    const int preamble = 10;
    const int total = ((preamble + header.size() + 1 + 63) / 64) * 64;
    header.append(QByteArray(total - preamble - header.size() - 1, ' '));
    header.append('\n');

    QByteArray out("\x93NUMPY\x01\x00", 8);
    const quint16 len = qToLittleEndian<quint16>(quint16(header.size()));
    out.append(reinterpret_cast<const char*>(&len), 2);
    out.append(header);

    out.reserve(out.size() + qsizetype(sizeof(double)) * width * height);
    std::vector<double> row(static_cast<std::size_t>(width));
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x)
            row[static_cast<std::size_t>(x)] = qToLittleEndian(plane[x][y]);
        out.append(reinterpret_cast<const char*>(row.data()), qsizetype(sizeof(double)) * width);
    }
    return out;
}

} // namespace kelvara
