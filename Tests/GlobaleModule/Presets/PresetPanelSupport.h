#pragma once

#include "Presets/PresetMain.h"

#include <string>

// Clicks on the preset panel's rows without a display: the cell gets the mouse event that a
// window would give it.
namespace PresetPanelTest
{
// The name cell of a row, made by the list as it makes those in view; null when absent.
inline TableDemoComponent::EditableTextCustomComponent* cell(PresetMain& panel, int level,
                                                             const std::string& name)
{
    auto* table = panel.getTable(level);
    if (table == nullptr)
        return nullptr;
    const int row = table->getNames().indexOf(juce::String::fromUTF8(name.c_str()));
    if (row < 0)
        return nullptr;
    auto& list = table->getTable();
    list.updateContent();
    list.scrollToEnsureRowIsOnscreen(row);
    return dynamic_cast<TableDemoComponent::EditableTextCustomComponent*>(list.getCellComponent(2, row));
}

inline juce::MouseEvent mouseEvent(juce::Component* on, bool rightButton)
{
    const auto now = juce::Time::getCurrentTime();
    const juce::ModifierKeys mods(rightButton ? juce::ModifierKeys::rightButtonModifier
                                              : juce::ModifierKeys::leftButtonModifier);
    return juce::MouseEvent(juce::Desktop::getInstance().getMainMouseSource(), {4.0f, 4.0f}, mods, 1.0f, 0.0f,
                            0.0f, 0.0f, 0.0f, on, on, now, {4.0f, 4.0f}, now, 1, false);
}

// A mouse press on a row; false when the row is not there.
inline bool press(PresetMain& panel, int level, const std::string& name, bool rightButton = false)
{
    auto* row = cell(panel, level, name);
    if (row == nullptr)
        return false;
    row->mouseDown(mouseEvent(row, rightButton));
    return true;
}
} // namespace PresetPanelTest
