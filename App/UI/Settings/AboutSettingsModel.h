// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "Platform/Updater.h"

#include <QObject>
#include <QQuickItem>
#include <QStringList>
#include <QtQml/qqmlregistration.h>

namespace quillmount {

// The about tab, and the sheet with the licences.
class AboutSettingsModel : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("made by the settings")
    Q_PROPERTY(QString version READ version CONSTANT FINAL)
    Q_PROPERTY(QString copyright READ copyright CONSTANT FINAL)
    Q_PROPERTY(QString updateText READ updateText NOTIFY updateChanged FINAL)
    Q_PROPERTY(bool isCheckingForUpdates READ isCheckingForUpdates NOTIFY updateChanged FINAL)
    Q_PROPERTY(bool hasUpdate READ hasUpdate NOTIFY updateChanged FINAL)
    Q_PROPERTY(bool areLicensesShown READ areLicensesShown NOTIFY areLicensesShownChanged FINAL)

public:
    using QObject::QObject;

    void setUpdate(const Updater::State &state);
    // In place of the real text, for pictures and tests.
    void setLicenses(const QString &text) { m_licenses = text; }

    [[nodiscard]] QString version() const;
    // Empty when the information dictionary has none.
    [[nodiscard]] QString copyright() const;
    // What came of the user's question; empty when there was none.
    [[nodiscard]] QString updateText() const;
    [[nodiscard]] bool isCheckingForUpdates() const { return m_update.status == Updater::Status::checking; }
    [[nodiscard]] bool hasUpdate() const { return m_update.status == Updater::Status::available; }
    [[nodiscard]] bool areLicensesShown() const { return m_areLicensesShown; }

    // The text of the licences in pieces of some lines, which a view can take one a frame: all at once would stop it.
    Q_INVOKABLE QStringList licenses() const;
    // Tells a screen reader of the answer, which `item` shows.
    Q_INVOKABLE static void announce(QQuickItem *item);
    Q_INVOKABLE void showLicenses() { setLicensesShown(true); }
    Q_INVOKABLE void hideLicenses() { setLicensesShown(false); }
    Q_INVOKABLE void contactSupport() { Q_EMIT supportRequested(); }
    Q_INVOKABLE void checkForUpdates() { Q_EMIT updateCheckRequested(); }
    Q_INVOKABLE void openUpdatePage() { Q_EMIT updatePageRequested(); }

Q_SIGNALS:
    void updateChanged();
    void areLicensesShownChanged();
    // A new, empty message to the support.
    void supportRequested();
    void updateCheckRequested();
    // The page of the version that is available.
    void updatePageRequested();

private:
    void setLicensesShown(bool shown);

    Updater::State m_update;
    std::optional<QString> m_licenses;
    bool m_areLicensesShown = false;
};

} // namespace quillmount
