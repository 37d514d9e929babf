// SPDX-License-Identifier: LicenseRef-Quillmount
#include "App/UI/Settings/AboutSettingsModel.h"

#include "App/Support/Acknowledgements.h"
#include "App/Support/Brand.h"
#include "Platform/Platform.h"

#include <QAccessible>

#include <utility>

namespace quillmount {

using namespace Qt::StringLiterals;

namespace {
constexpr qsizetype linesAPiece = 200;
} // namespace

QString AboutSettingsModel::version() const {
    return u"Version "_s + Brand::version();
}

QString AboutSettingsModel::copyright() const {
    return Platform::current().bundle->infoString(u"NSHumanReadableCopyright"_s).value_or(QString());
}

void AboutSettingsModel::setUpdate(const Updater::State &state) {
    m_update = state;
    Q_EMIT updateChanged();
}

QString AboutSettingsModel::updateText() const {
    switch (m_update.status) {
    case Updater::Status::idle:
        return {};
    case Updater::Status::checking:
        return u"Checking for updates\u2026"_s;
    case Updater::Status::upToDate:
        return u"Quillmount is up to date."_s;
    case Updater::Status::available:
        return u"Version %1 is available."_s.arg(m_update.version);
    case Updater::Status::failed:
        return u"Quillmount couldn't check for updates. Try again later."_s;
    }
    return {};
}

QStringList AboutSettingsModel::licenses() const {
    const QString text = m_licenses ? *m_licenses : Acknowledgements::text();
    QStringList pieces;
    qsizetype begin = 0;
    qsizetype lines = 0;
    for (qsizetype i = 0; i < text.size(); ++i) {
        if (text[i] != u'\n' || ++lines % linesAPiece != 0)
            continue;
        pieces.append(text.sliced(begin, i + 1 - begin));
        begin = i + 1;
    }
    if (begin < text.size())
        pieces.append(text.sliced(begin));
    return pieces;
}

void AboutSettingsModel::announce(QQuickItem *item) {
    if (!item->isVisible())
        return;
    QAccessibleEvent event(item, QAccessible::Alert);
    QAccessible::updateAccessibility(&event);
}

void AboutSettingsModel::setLicensesShown(bool shown) {
    if (std::exchange(m_areLicensesShown, shown) != shown)
        Q_EMIT areLicensesShownChanged();
}

} // namespace quillmount
