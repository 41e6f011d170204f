#pragma once

#include <QString>

#include <optional>

// Finds the program's data files: those compiled in first (":/norvane/{name}"), then the installed data
// folder beside the program ("{program folder}/../share/norvane/{name}"), so that the same lookup serves
// the build tree and an installed package.
namespace BundleResource {

// The installed data folder beside the program, whether or not it exists.
QString installedFolder();

// The path of "{resource}.{extension}", or nothing when neither place holds it.
std::optional<QString> url(const QString& resource, const QString& extension);

} // namespace BundleResource
