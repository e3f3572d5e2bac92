#pragma once

#include <juce_core/juce_core.h>

#include <functional>

// The asynchronous Ok/Cancel question that comes before a file is replaced. It returns at
// once; the answer arrives later on the message thread: 1 for the first button, 0 for the
// second or a dismissed window.
namespace ReplaceQuestion
{
using Answer = std::function<void(int result)>;
using Asker = std::function<void(const juce::String& title, const juce::String& message, Answer answer)>;

// Opens the question without an icon (message thread only).
void ask(const juce::String& title, const juce::String& message, const juce::String& okText,
         const juce::String& cancelText, Answer answer);
// Lets a test receive the questions instead of a window; an empty asker restores the window.
void setAsker(Asker asker);

// A notice with one button about an operation that was refused (message thread only).
using Teller = std::function<void(const juce::String& title, const juce::String& message)>;
void tell(const juce::String& title, const juce::String& message);
// As setAsker, for the notices.
void setTeller(Teller teller);
} // namespace ReplaceQuestion
