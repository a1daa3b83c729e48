// kel::gui::Panel: the content of one of an object's windows. The window
// frame (title bar, floating, closing) is the window's; the panel draws and
// lays out its widgets at the font size the object was given.
//
// Main thread only.
#pragma once

#include <juce_gui_basics/juce_gui_basics.h>

namespace kel::gui {

class Panel : public juce::Component
{
public:
    /** Font size in points, from "/<window>/font/size". */
    virtual void setFontSize(float points) = 0;
};

} // namespace kel::gui
