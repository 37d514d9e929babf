// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "App/UI/MenuPanel/LiveContent.h"
#include "App/UI/MenuPanel/PanelBodyModel.h"
#include "App/UI/MenuPanel/TransferListModel.h"

namespace quillmount {

// The body of a live drive.
class LiveBodyModel : public quillmount::PanelBodyModel {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("made by the panel")
    Q_PROPERTY(int line READ line NOTIFY contentChanged FINAL)
    Q_PROPERTY(int moving READ moving NOTIFY contentChanged FINAL)
    Q_PROPERTY(QString subline READ subline NOTIFY contentChanged FINAL)
    Q_PROPERTY(QString destination READ destination CONSTANT FINAL)
    Q_PROPERTY(bool hasQuota READ hasQuota NOTIFY contentChanged FINAL)
    Q_PROPERTY(QString quotaTitle READ quotaTitle CONSTANT FINAL)
    Q_PROPERTY(QString quotaText READ quotaText NOTIFY contentChanged FINAL)
    Q_PROPERTY(double quotaFraction READ quotaFraction NOTIFY contentChanged FINAL)
    Q_PROPERTY(QString quotaSpoken READ quotaSpoken NOTIFY contentChanged FINAL)
    Q_PROPERTY(QString cacheTitle READ cacheTitle CONSTANT FINAL)
    Q_PROPERTY(QString cacheText READ cacheText NOTIFY contentChanged FINAL)
    Q_PROPERTY(double cacheFraction READ cacheFraction NOTIFY contentChanged FINAL)
    Q_PROPERTY(QString cacheSpoken READ cacheSpoken NOTIFY contentChanged FINAL)
    Q_PROPERTY(int capacityCells READ capacityCells CONSTANT FINAL)
    Q_PROPERTY(QString webDriveTitle READ webDriveTitle CONSTANT FINAL)
    Q_PROPERTY(QString openTitle READ openTitle CONSTANT FINAL)
    Q_PROPERTY(QString helpTitle READ helpTitle CONSTANT FINAL)
    Q_PROPERTY(QString ejectTitle READ ejectTitle CONSTANT FINAL)
    Q_PROPERTY(QString ejectTip READ ejectTip CONSTANT FINAL)
    Q_PROPERTY(bool offersHelp READ offersHelp NOTIFY contentChanged FINAL)
    Q_PROPERTY(quillmount::TransferListModel *transfers READ transfers CONSTANT FINAL)

public:
    explicit LiveBodyModel(const DriveSnapshot &drive, QObject *parent = nullptr);

    [[nodiscard]] QString view() const override { return QStringLiteral("LiveBody.qml"); }
    [[nodiscard]] QString headline() const override { return m_content.headline; }
    void update(const DriveSnapshot &drive) override;

    // A RouteDiagram::LineStyle.
    [[nodiscard]] int line() const { return static_cast<int>(m_content.line); }
    [[nodiscard]] int moving() const { return m_content.moving; }
    [[nodiscard]] QString subline() const { return m_content.subline; }
    [[nodiscard]] static QString destination() { return QStringLiteral("Drive"); }
    // False while Google has not told it.
    [[nodiscard]] bool hasQuota() const { return !m_content.quotaText.isEmpty(); }
    [[nodiscard]] static QString quotaTitle() { return QStringLiteral("Google Drive"); }
    [[nodiscard]] QString quotaText() const { return m_content.quotaText; }
    [[nodiscard]] double quotaFraction() const { return m_content.quotaFraction; }
    [[nodiscard]] QString quotaSpoken() const { return quotaTitle() + QStringLiteral(": ") + quotaText(); }
    [[nodiscard]] static QString cacheTitle() { return QStringLiteral("Recent files on this Mac"); }
    [[nodiscard]] QString cacheText() const { return m_content.cacheText; }
    [[nodiscard]] double cacheFraction() const { return m_content.cacheFraction; }
    [[nodiscard]] QString cacheSpoken() const { return cacheTitle() + QStringLiteral(": ") + cacheText(); }
    // Of the bar below each of the two.
    [[nodiscard]] static int capacityCells() { return 24; }
    [[nodiscard]] static QString webDriveTitle() { return QStringLiteral("See your files on Google Drive"); }
    [[nodiscard]] static QString openTitle() { return QStringLiteral("Open Drive"); }
    [[nodiscard]] static QString helpTitle() { return QStringLiteral("Get Help"); }
    [[nodiscard]] static QString ejectTitle() { return QStringLiteral("Eject"); }
    [[nodiscard]] static QString ejectTip() {
        return QStringLiteral("Disconnect the drive from this Mac. Your files stay on Google Drive.");
    }
    [[nodiscard]] bool offersHelp() const { return m_content.offersHelp; }
    [[nodiscard]] TransferListModel *transfers() { return &m_transfers; }

    Q_INVOKABLE void openDrive() { perform(PanelAction::openDrive); }
    Q_INVOKABLE void openWebDrive() { perform(PanelAction::openWebDrive); }
    Q_INVOKABLE void getHelp() { perform(PanelAction::contactSupport); }
    Q_INVOKABLE void eject() { perform(PanelAction::eject); }
    // Shows the file in the file manager.
    Q_INVOKABLE void reveal(const QString &transferId) {
        if (isCurrent())
            Q_EMIT revealRequested(transferId);
    }

Q_SIGNALS:
    void revealRequested(const QString &transferId);

private:
    LiveContent m_content;
    TransferListModel m_transfers;
};

} // namespace quillmount
