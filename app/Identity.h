// The names by which the desktop knows the application.
#pragma once

namespace nullprint::app {

// Bus name, desktop entry, icons, autostart entry and property list all bear it.
inline constexpr char applicationID[] = "org.nullprint.Nullprint";
inline constexpr char objectPath[] = "/org/nullprint/Nullprint";

} // namespace nullprint::app
