// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include "Platform/Sidebar.h"

namespace quillmount {

// The bookmarks of GTK's file managers, and the places of KDE's where the user has such a list. File managers hide a
// mount at most places, and show a bookmark wherever it leads.
class LinuxSidebar final : public Sidebar {
public:
    // The config home and the data home.
    LinuxSidebar(const QString &configuration, const QString &data);

    void add(const QString &path, const QString &name) override;
    void remove(const QString &path) override;

private:
    QString m_bookmarks;
    QString m_places;
};

} // namespace quillmount
