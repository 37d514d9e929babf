// SPDX-License-Identifier: LicenseRef-Quillmount
#include "App/UI/Settings/SettingsModel.h"

namespace quillmount {

using namespace Qt::StringLiterals;

SettingsModel::SettingsModel(QObject *parent)
    : QObject(parent) {
    connect(m_account.confirmation(), &ConfirmationModel::changed, this, &SettingsModel::hasSheetChanged);
    connect(&m_about, &AboutSettingsModel::areLicensesShownChanged, this, &SettingsModel::hasSheetChanged);
}

void SettingsModel::appear() {
    m_general.appear();
    Q_EMIT appeared();
}

void SettingsModel::disappear() {
    m_account.dismiss();
    m_about.hideLicenses();
}

QStringList SettingsModel::tabTitles() const {
    return {u"General"_s, u"Account"_s, u"About"_s};
}

QStringList SettingsModel::tabSymbols() const {
    return {u"gearshape"_s, u"person.crop.circle"_s, u"info.circle"_s};
}

bool SettingsModel::hasSheet() const {
    return m_account.confirmation()->isOpen() || m_about.areLicensesShown();
}

void SettingsModel::selectTab(int tab) {
    if (tab == currentTab() || hasSheet())
        return;
    m_tab = static_cast<Tab>(tab);
    appear();
    Q_EMIT currentTabChanged();
}

void SettingsModel::stepTab(int step) {
    const int count = static_cast<int>(tabTitles().size());
    selectTab((currentTab() + step + count) % count);
}

void SettingsModel::escape() {
    if (hasSheet())
        acceptDefault();
    else
        close();
}

void SettingsModel::acceptDefault() {
    m_account.confirmation()->cancel();
    m_about.hideLicenses();
}

} // namespace quillmount
