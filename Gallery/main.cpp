// SPDX-License-Identifier: LicenseRef-Quillmount
// Writes pictures of every view in each of its states, light and dark, at one and two pixels a point, and a sheet of
// all. Usage: gallery FOLDER [PART OF A STATE'S NAME]
#include "Gallery/ContactSheet.h"
#include "Gallery/Studio.h"

#include <QDir>
#include <QFontDatabase>
#include <QGuiApplication>
#include <QQuickWindow>

#include <cstdio>

using namespace quillmount;
using namespace Qt::StringLiterals;

namespace {

void save(const QImage &image, const QString &path) {
    if (!image.save(path))
        qFatal("cannot write %s", qPrintable(path));
}

} // namespace

int main(int argc, char **argv) {
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);
    const QGuiApplication application(argc, argv);
    if (argc < 2)
        qFatal("Usage: gallery FOLDER [PART OF A STATE'S NAME]");
    const QDir folder(QString::fromLocal8Bit(argv[1]));
    const QString part = argc > 2 ? QString::fromLocal8Bit(argv[2]) : QString();
    if (!QFontDatabase::families().contains(u"Inter"_s))
        qFatal("the pictures need the typeface Inter (package fonts-inter)");
    folder.mkpath(u"."_s);

    // The states are made of what its platform says.
    Studio studio;
    const QList<GalleryState> states = componentStates() + menuPanelStates() + settingsStates();
    qsizetype count = 0;
    for (const int scale : {1, 2}) {
        QList<SheetEntry> entries;
        for (const GalleryState &state : states) {
            if (!state.name.contains(part))
                continue;
            SheetEntry entry{state.name, {}};
            for (const auto &[scheme, name] :
                 {std::pair(Appearance::ColorScheme::light, u"light"_s), {Appearance::ColorScheme::dark, u"dark"_s}}) {
                const QImage picture = studio.picture(state, scheme, scale);
                save(picture, folder.filePath(u"%1-%2@%3x.png"_s.arg(state.name, name).arg(scale)));
                entry.pictures.append(picture);
                ++count;
            }
            entries.append(entry);
        }
        save(contactSheet(entries, scale), folder.filePath(u"sheet@%1x.png"_s.arg(scale)));
    }
    std::printf("gallery: %lld pictures in %s\n", static_cast<long long>(count), qPrintable(folder.path()));
    return 0;
}
