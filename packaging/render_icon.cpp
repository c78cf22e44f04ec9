// Renders the app icon's SVG to the PNG sizes of the icon theme, at build time, so that no
// rendered copies live in the repository.
//   render_icon <icon.svg> <output folder> <icon name> <size>...
// writes <output folder>/<size>x<size>/apps/<icon name>.png for each size.
#include <QDir>
#include <QImage>
#include <QPainter>
#include <QString>
#include <QSvgRenderer>

#include <cstdio>

int main(int argc, char **argv)
{
    if (argc < 5) {
        std::fprintf(stderr, "usage: %s <icon.svg> <output folder> <icon name> <size>...\n",
                     argv[0]);
        return 2;
    }
    const QString source = QString::fromLocal8Bit(argv[1]);
    const QDir output(QString::fromLocal8Bit(argv[2]));
    const QString name = QString::fromLocal8Bit(argv[3]);

    QSvgRenderer renderer(source);
    if (!renderer.isValid()) {
        std::fprintf(stderr, "%s: not a usable SVG\n", argv[1]);
        return 1;
    }
    for (int i = 4; i < argc; ++i) {
        bool ok = false;
        const int size = QString::fromLocal8Bit(argv[i]).toInt(&ok);
        if (!ok || size <= 0) {
            std::fprintf(stderr, "%s: not a size\n", argv[i]);
            return 2;
        }
        QImage image(size, size, QImage::Format_ARGB32_Premultiplied);
        image.fill(Qt::transparent);
        {
            QPainter painter(&image);
            painter.setRenderHint(QPainter::Antialiasing);
            painter.setRenderHint(QPainter::SmoothPixmapTransform);
            renderer.render(&painter, QRectF(0, 0, size, size));
        }
        const QString folder = QStringLiteral("%1x%1/apps").arg(size);
        const QString file = output.filePath(folder + u'/' + name + QStringLiteral(".png"));
        if (!output.mkpath(folder) || !image.save(file, "PNG")) {
            std::fprintf(stderr, "%s: cannot write\n", qPrintable(file));
            return 1;
        }
    }
    return 0;
}
