#include "SoftShadow.h"

#include <QPainter>

#include <array>
#include <cmath>
#include <vector>

namespace {

// Widths of three successive box blurs whose result approximates a Gaussian of `sigma`.
std::array<int, 3> boxWidths(qreal sigma)
{
    constexpr int passes = 3;
    const double ideal = std::sqrt(12 * sigma * sigma / passes + 1);
    int lower = int(std::floor(ideal));
    if (lower % 2 == 0)
        --lower;
    const int upper = lower + 2;
    const double lowerCount =
        (12 * sigma * sigma - passes * lower * lower - 4 * passes * lower - 3 * passes) /
        (-4 * lower - 4);
    const int m = int(std::lround(lowerCount));
    std::array<int, 3> widths{};
    for (int i = 0; i < passes; ++i)
        widths[std::size_t(i)] = i < m ? lower : upper;
    return widths;
}

// One box blur along a line of `count` samples `stride` apart, outside values being zero.
void boxLine(uchar *data, int count, qsizetype stride, int radius, std::vector<int> &scratch)
{
    scratch.assign(std::size_t(count), 0);
    for (int i = 0; i < count; ++i)
        scratch[std::size_t(i)] = data[i * stride];
    const int width = 2 * radius + 1;
    int sum = 0;
    for (int i = 0; i <= radius && i < count; ++i)
        sum += scratch[std::size_t(i)];
    for (int i = 0; i < count; ++i) {
        data[i * stride] = uchar((sum + width / 2) / width);
        const int incoming = i + radius + 1;
        const int outgoing = i - radius;
        if (incoming < count)
            sum += scratch[std::size_t(incoming)];
        if (outgoing >= 0)
            sum -= scratch[std::size_t(outgoing)];
    }
}

} // namespace

int SoftShadow::reach(qreal radius)
{
    return int(std::ceil(3 * radius / 2));
}

void SoftShadow::blurAlpha(QImage &image, qreal sigma)
{
    Q_ASSERT(image.format() == QImage::Format_Alpha8);
    if (sigma <= 0 || image.isNull())
        return;
    std::vector<int> scratch;
    const int w = image.width();
    const int h = image.height();
    const qsizetype line = image.bytesPerLine();
    uchar *bits = image.bits();
    for (int width : boxWidths(sigma)) {
        const int radius = (width - 1) / 2;
        if (radius <= 0)
            continue;
        for (int y = 0; y < h; ++y)
            boxLine(bits + y * line, w, 1, radius, scratch);
        for (int x = 0; x < w; ++x)
            boxLine(bits + x, h, line, radius, scratch);
    }
}

QImage SoftShadow::render(const QPainterPath &path, const QColor &color, qreal radius)
{
    const int pad = reach(radius);
    const QRectF bounds = path.boundingRect();
    const QSize size(int(std::ceil(bounds.width())) + 2 * pad,
                     int(std::ceil(bounds.height())) + 2 * pad);
    QImage alpha(size, QImage::Format_Alpha8);
    alpha.fill(0);
    {
        QPainter painter(&alpha);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.translate(pad - bounds.left(), pad - bounds.top());
        painter.fillPath(path, Qt::black);
    }
    blurAlpha(alpha, radius / 2);

    QImage result(size, QImage::Format_ARGB32_Premultiplied);
    result.fill(color);
    QPainter painter(&result);
    painter.setCompositionMode(QPainter::CompositionMode_DestinationIn);
    painter.drawImage(0, 0, alpha);
    return result;
}
