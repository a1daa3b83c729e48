// Forced into juce_graphics.cpp by cmake/Juce.cmake for MinGW builds.
// Under MinGW, JUCE's JPEG loader names jpeglibNamespace::boolean, which only
// its bundled libjpeg declares; the Windows jconfig.h of the libjpeg we link
// leaves boolean to rpcndr.h's global typedef. Both are unsigned char, so
// declaring it here too changes no type the library sees.
#pragma once

namespace juce::jpeglibNamespace {
typedef unsigned char boolean;
}
