// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include <QList>
#include <QObject>
#include <QStringList>
#include <QtQml/qqmlregistration.h>

namespace quillmount {

// The general tab. Every change is stored when it is made.
class GeneralSettingsModel : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("made by the settings")
    Q_PROPERTY(QStringList cacheSizes READ cacheSizes NOTIFY cacheSizesChanged FINAL)
    Q_PROPERTY(int cacheSizeRow READ cacheSizeRow NOTIFY cacheSizeRowChanged FINAL)
    Q_PROPERTY(QString cacheFooter READ cacheFooter CONSTANT FINAL)
    Q_PROPERTY(bool opensAtLogin READ opensAtLogin NOTIFY opensAtLoginChanged FINAL)
    Q_PROPERTY(bool canAddLocation READ canAddLocation NOTIFY locationChanged FINAL)
    Q_PROPERTY(bool isAddingLocation READ isAddingLocation NOTIFY locationChanged FINAL)
    Q_PROPERTY(QString locationNote READ locationNote NOTIFY locationChanged FINAL)
    Q_PROPERTY(QString supportTitle READ supportTitle CONSTANT FINAL)

public:
    // The set-up of the drive as a location of the file manager.
    struct Location {
        bool canBeAdded = false;
        bool isBeingAdded = false;
        QString note = {}; // why it was not added; may be empty

        friend bool operator==(const Location &, const Location &) = default;
    };

    explicit GeneralSettingsModel(QObject *parent = nullptr);

    // The tab has come to be seen: what others may have changed is read.
    void appear();
    void setLocation(const Location &location);

    // A size that is stored but not offered has a row of its own.
    [[nodiscard]] QStringList cacheSizes() const;
    [[nodiscard]] int cacheSizeRow() const;
    [[nodiscard]] QString cacheFooter() const;
    [[nodiscard]] bool opensAtLogin() const { return m_opensAtLogin; }
    [[nodiscard]] bool canAddLocation() const { return m_location.canBeAdded; }
    [[nodiscard]] bool isAddingLocation() const { return m_location.isBeingAdded; }
    [[nodiscard]] QString locationNote() const { return m_location.note; }
    [[nodiscard]] QString supportTitle() const;

    // The user's own choices.
    Q_INVOKABLE void chooseCacheSize(int row);
    Q_INVOKABLE void setOpensAtLogin(bool opens);
    Q_INVOKABLE void addLocation() { Q_EMIT locationRequested(); }
    Q_INVOKABLE void showDrive() { Q_EMIT driveRequested(); }
    Q_INVOKABLE void contactSupport() { Q_EMIT supportRequested(); }

Q_SIGNALS:
    void cacheSizesChanged();
    void cacheSizeRowChanged();
    void opensAtLoginChanged();
    void locationChanged();
    // Another size is stored now.
    void cacheSizeChosen();
    void locationRequested();
    void driveRequested();
    void supportRequested();

private:
    void readCacheSize();

    QList<qint64> m_sizes; // gigabytes
    qint64 m_size = 0;
    bool m_opensAtLogin = false;
    Location m_location;
};

} // namespace quillmount
