// What the panel tests share: an object's host that records what a panel
// sends (and hands it on to the object, as the real host does), JUCE's
// message manager on the test's thread, and a look into a panel's widgets.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <juce_gui_basics/juce_gui_basics.h>

#include "KelWindowHost.h"

namespace kel::test {

class RecordingWindowHost : public gui::WindowHost
{
public:
    explicit RecordingWindowHost(OscInterface& object) : object(object) {}

    OscInterface& getInterface() override { return object; }
    std::optional<PlayerStatus> GetPlayerStatus() const override
    {
        return statusSource ? statusSource() : std::nullopt;
    }
    void Send(const OscMessage& message) override
    {
        sent.push_back(message);
        if (!handOn)
            return;
        try
        {
            object.ProcessMessage(message);
        }
        catch (const std::exception& failure)
        {
            errors.emplace_back(failure.what());
        }
    }

    /** The texts of what was sent, in order. */
    std::vector<std::string> sentTexts() const
    {
        std::vector<std::string> texts;
        for (const auto& m : sent)
            texts.push_back(m.toString());
        return texts;
    }

    OscInterface& object;
    std::function<std::optional<PlayerStatus>()> statusSource;
    bool handOn = true;
    std::vector<OscMessage> sent;
    std::vector<std::string> errors;
};

/** Every component of type T under root, depth first. */
template <typename T>
std::vector<T*> FindAll(juce::Component& root)
{
    std::vector<T*> found;
    std::function<void(juce::Component&)> visit = [&](juce::Component& c)
    {
        if (auto* t = dynamic_cast<T*>(&c))
            found.push_back(t);
        for (int i = 0; i < c.getNumChildComponents(); ++i)
            visit(*c.getChildComponent(i));
    };
    visit(root);
    return found;
}

/** Whether c and every parent up to root are visible. */
inline bool ShowsUnder(const juce::Component& root, const juce::Component& c)
{
    for (const juce::Component* p = &c; p != nullptr && p != &root; p = p->getParentComponent())
        if (!p->isVisible())
            return false;
    return true;
}

/** The texts of the labels that show under root. */
inline std::vector<std::string> ShownLabelTexts(juce::Component& root)
{
    std::vector<std::string> texts;
    for (auto* label : FindAll<juce::Label>(root))
        if (ShowsUnder(root, *label))
            texts.push_back(label->getText().toStdString());
    return texts;
}

inline juce::TextButton* FindButton(juce::Component& root, const std::string& text)
{
    for (auto* button : FindAll<juce::TextButton>(root))
        if (button->getButtonText().toStdString() == text)
            return button;
    return nullptr;
}

/** Clicks a button as the mouse would, once it is released over it: its
    click handler runs now, not from the message loop. */
inline void Click(juce::Button& button)
{
    ASSERT_TRUE(button.isEnabled()) << button.getButtonText();
    ASSERT_TRUE(button.onClick != nullptr);
    button.onClick();
}

} // namespace kel::test
