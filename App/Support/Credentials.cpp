// SPDX-License-Identifier: LicenseRef-Quillmount
#include "App/Support/Credentials.h"

#include "Platform/Platform.h"

namespace quillmount {

using namespace Qt::StringLiterals;

Credentials Credentials::current() {
    const Bundle &bundle = *Platform::current().bundle;
    return {bundle.infoString(u"QMGoogleClientID"_s).value_or(QString()),
            bundle.infoString(u"QMGoogleClientSecret"_s).value_or(QString())};
}

} // namespace quillmount
