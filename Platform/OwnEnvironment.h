// SPDX-License-Identifier: LicenseRef-Quillmount
#pragma once

#include <QByteArray>
#include <QProcessEnvironment>

#include <vector>

namespace quillmount {

// Variables that are set for the libraries of this process, and are nothing to the programs that it starts.
namespace OwnEnvironment {

// Sets a variable for this process alone. Before it has threads.
void set(const QByteArray &name, const QByteArray &value);

// The environment for a program that this process starts, without those variables.
[[nodiscard]] QProcessEnvironment forChildren();
// The same as the system's calls take it: it ends with a null, and the text is that of `environ`.
[[nodiscard]] std::vector<char *> rawForChildren();

} // namespace OwnEnvironment
} // namespace quillmount
