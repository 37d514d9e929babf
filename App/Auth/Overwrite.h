// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include <QByteArray>
#include <QString>

namespace quillmount {

// Fills a secret with zeros and empties it, where it is the only owner of its memory. Another copy, also one that Qt
// shares, stays as it is.
template <typename Text>
void overwrite(Text &secret) {
    if (secret.isDetached()) {
        auto *unit = reinterpret_cast<volatile char *>(secret.data());
        for (qsizetype i = 0; i < secret.size() * qsizetype(sizeof(*secret.data())); ++i)
            unit[i] = 0;
    }
    secret.clear();
}

} // namespace quillmount
