#include "Presets/ReplaceQuestion.h"

#include <juce_gui_basics/juce_gui_basics.h>

namespace ReplaceQuestion
{
namespace
{
// Set and used on the message thread only.
Asker& customAsker()
{
    static Asker asker;
    return asker;
}

Teller& customTeller()
{
    static Teller teller;
    return teller;
}
} // namespace

void ask(const juce::String& title, const juce::String& message, const juce::String& okText,
         const juce::String& cancelText, Answer answer)
{
    if (customAsker())
    {
        customAsker()(title, message, std::move(answer));
        return;
    }
    juce::AlertWindow::showOkCancelBox(juce::MessageBoxIconType::NoIcon, title, message, okText, cancelText,
                                       nullptr, juce::ModalCallbackFunction::create(std::move(answer)));
}

void setAsker(Asker asker)
{
    customAsker() = std::move(asker);
}

void tell(const juce::String& title, const juce::String& message)
{
    if (customTeller())
    {
        customTeller()(title, message);
        return;
    }
    juce::AlertWindow::showMessageBoxAsync(juce::MessageBoxIconType::WarningIcon, title, message, "OK");
}

void setTeller(Teller teller)
{
    customTeller() = std::move(teller);
}
} // namespace ReplaceQuestion
