// SPDX-License-Identifier: LicenseRef-Quillmount
#include "App/UI/Components/SymbolImage.h"

#include <QLoggingCategory>
#include <QPainter>
#include <QSvgRenderer>

namespace quillmount {

using namespace Qt::StringLiterals;

namespace {

Q_LOGGING_CATEGORY(logUi, "quillmount.ui")

QImage drawn(const QString &name, int pixels) {
    QSvgRenderer drawing(u":/symbols/%1.svg"_s.arg(name));
    if (!drawing.isValid()) {
        qCWarning(logUi, "there is no symbol %ls", qUtf16Printable(name));
        return {};
    }
    QImage image(pixels, pixels, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    drawing.render(&painter, QRectF(0, 0, pixels, pixels));
    return image;
}

} // namespace

QImage SymbolImage::tinted(const QString &name, int pixels, const QColor &color) {
    QImage image = drawn(name, pixels);
    for (int y = 0; y < image.height(); ++y) {
        auto *line = reinterpret_cast<QRgb *>(image.scanLine(y));
        for (int x = 0; x < image.width(); ++x) {
            // What is premultiplied says how much white there is: the rest of the coverage is ink.
            const int ink = qAlpha(line[x]) - qGreen(line[x]);
            line[x] = qPremultiply(qRgba(color.red(), color.green(), color.blue(), ink * color.alpha() / 255));
        }
    }
    return image;
}

QIcon SymbolImage::application() {
    QIcon icon;
    for (const int size : {16, 22, 24, 32, 48, 64, 128, 256})
        icon.addPixmap(QPixmap::fromImage(application(size)));
    return icon;
}

QImage SymbolImage::application(int pixels) {
    return drawn(u"AppIcon"_s, pixels);
}

} // namespace quillmount
