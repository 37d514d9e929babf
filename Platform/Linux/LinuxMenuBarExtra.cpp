// SPDX-License-Identifier: LicenseRef-Quillmount
#include "Platform/Linux/LinuxMenuBarExtra.h"
