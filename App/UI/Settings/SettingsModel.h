// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "App/UI/Settings/AboutSettingsModel.h"
#include "App/UI/Settings/AccountSettingsModel.h"
#include "App/UI/Settings/GeneralSettingsModel.h"

namespace quillmount {

// The settings window: its tabs, and what lies in front of them.
class SettingsModel : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("The application makes it.")
    Q_PROPERTY(QList<QString> tabTitles READ tabTitles CONSTANT FINAL)
    Q_PROPERTY(QList<QString> tabSymbols READ tabSymbols CONSTANT FINAL)
    Q_PROPERTY(int currentTab READ currentTab NOTIFY currentTabChanged FINAL)
    Q_PROPERTY(bool hasSheet READ hasSheet NOTIFY hasSheetChanged FINAL)
    Q_PROPERTY(quillmount::GeneralSettingsModel *general READ general CONSTANT FINAL)
    Q_PROPERTY(quillmount::AccountSettingsModel *account READ account CONSTANT FINAL)
    Q_PROPERTY(quillmount::AboutSettingsModel *about READ about CONSTANT FINAL)

public:
    enum class Tab { general, account, about };

    explicit SettingsModel(QObject *parent = nullptr);

    // The window has come to be seen, or to the front.
    void appear();
    // The window is gone: a question that was not answered is not asked any more.
    void disappear();

    [[nodiscard]] QStringList tabTitles() const;
    [[nodiscard]] QStringList tabSymbols() const;
    [[nodiscard]] int currentTab() const { return static_cast<int>(m_tab); }
    // A dialog or a sheet stands in front of the tabs, which then answer to nothing.
    [[nodiscard]] bool hasSheet() const;
    [[nodiscard]] GeneralSettingsModel *general() { return &m_general; }
    [[nodiscard]] AccountSettingsModel *account() { return &m_account; }
    [[nodiscard]] AboutSettingsModel *about() { return &m_about; }

    Q_INVOKABLE void selectTab(int tab);
    // Forward or back by so many, and round.
    Q_INVOKABLE void stepTab(int step);
    // Escape: what lies in front goes first.
    Q_INVOKABLE void escape();
    // Return while something lies in front: never what destroys.
    Q_INVOKABLE void acceptDefault();
    Q_INVOKABLE void close() { Q_EMIT closeRequested(); }
    Q_INVOKABLE void quit() { Q_EMIT quitRequested(); }

Q_SIGNALS:
    void currentTabChanged();
    void hasSheetChanged();
    // What the tabs show may have changed elsewhere.
    void appeared();
    void closeRequested();
    void quitRequested();

private:
    Tab m_tab = Tab::general;
    GeneralSettingsModel m_general;
    AccountSettingsModel m_account;
    AboutSettingsModel m_about;
};

} // namespace quillmount
