// SPDX-License-Identifier: LicenseRef-Quillmount
#include "App/UI/Components/Typeface.h"

#include <QFontDatabase>
#include <QFontInfo>
#include <QGuiApplication>

#include <set>

namespace quillmount {

using namespace Qt::StringLiterals;

namespace {

bool hasMediumAndSemibold(const QString &family) {
    std::set<int> weights;
    for (const QString &style : QFontDatabase::styles(family))
        weights.insert(QFontDatabase::weight(family, style));
    return weights.contains(QFont::Medium) && weights.contains(QFont::DemiBold);
}

} // namespace

QString Typeface::family() {
    // "Sans Serif" and the like are names of whatever the system puts in their place.
    const QString desktops = QFontInfo(QGuiApplication::font()).family();
    const QString inter = u"Inter"_s;
    return !hasMediumAndSemibold(desktops) && hasMediumAndSemibold(inter) ? inter : desktops;
}

QString Typeface::monospaced() {
    return QFontInfo(QFontDatabase::systemFont(QFontDatabase::FixedFont)).family();
}

} // namespace quillmount
