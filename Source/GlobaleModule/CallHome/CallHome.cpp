#include "CallHome/CallHome.h"

#include "CallHome/UpdateServer.h"
#include "Debug/Debug.h"
#include "GlobalData/GlobalData.h"
#include "GlobalData/Settings.h"
#include "Ground/AtomicFile.h"
#include "Ground/SettingsPaths.h"
#include "Ground/TextHelpers.h"

#include <ctime>
#include <fstream>
#include <iterator>

SharedString CallHome::downloadlink;

namespace
{
// Set and read on the message thread only.
std::function<void(const std::string&)> questionHook;
std::function<void(const std::string&)> openHook;

// Written by tests before an editor opens; read on the check's thread.
SharedString everyCheckBase;

const char* const makerFolder = "Bindewerk";
const char* const fileName = "/UpdateSettings.ini";

// Raised for the whole check, lowered on every way out: the processor's destructor waits for it.
class RunningFlag
{
public:
    explicit RunningFlag(std::atomic<bool>& raised) : flag(raised) { flag = true; }
    ~RunningFlag() { flag = false; }

private:
    std::atomic<bool>& flag;
};

CallHome::Today localToday()
{
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    if (::localtime_r(&now, &local) == nullptr)
        return {};
    return {local.tm_yday, local.tm_year};
}

std::string readWholeFile(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

bool hasDisplay()
{
    return juce::Desktop::getInstance().getDisplays().getPrimaryDisplay() != nullptr;
}
} // namespace

void CallHome::ManuelUpdate_AlertWindowResultWorker::modalStateFinished(int result)
{
    if (result != 1 || !UpdateServer::isServerPath(downloadlink.get()))
        return;
    openInBrowser(downloadAddress());
}

void CallHome::calling()
{
    if (global == nullptr || settings == nullptr)
        return;
    RunningFlag running(global->callHomeRunning);
    try
    {
        readClock();
        if (readStoredDate() && !dueToday())
            return;
        storeToday();
        // The first three characters of a serial are the model; without them there is no identity.
        const std::string serial = global->deviceSerial.get();
        if (serial.size() < 3)
            return;
        askServer(serial);
    }
    catch (...)
    {
        // A failed check is a silent one: the day counts as done.
    }
}

void CallHome::SafeFile(std::stringstream& content)
{
    const auto path = settingsFile();
    if (path.empty())
        return;
    AtomicFile::write(path, content.str());
}

std::string CallHome::settingsFile()
{
    const auto folder = SettingsPaths::makeFolders(makerFolder);
    return folder.empty() ? std::string() : folder + fileName;
}

std::string CallHome::downloadAddress()
{
    return UpdateServer::productBase() + downloadlink.get();
}

std::string CallHome::checkAddress(const std::string& serial, const std::string& version,
                                   const std::string& base)
{
    auto start = base.empty() ? everyCheckBase.get() : base;
    if (start.empty())
        start = UpdateServer::productBase();
    return start + UpdateServer::checkPath(serial, version);
}

void CallHome::openInBrowser(const std::string& address)
{
    if (openHook)
        openHook(address);
    else
        juce::URL(juce::String::fromUTF8(address.c_str())).launchInDefaultBrowser();
}

void CallHome::offerDownload(const std::string& link, const std::string& logFolder)
{
    downloadlink = link;
    Debug::DebugLog(0, "Delete Choose Device and v3", __FILE__, __LINE__, logFolder);
    // The asking thread is not the message thread; the box is opened there.
    juce::MessageManager::callAsync([] { showQuestion(); });
    Debug::DebugLog(0, "Delete Choose Device and v3 done", __FILE__, __LINE__, logFolder);
}

void CallHome::setBaseUrlForEveryCheck(const std::string& base)
{
    everyCheckBase = base;
}

void CallHome::setQuestionHook(std::function<void(const std::string&)> hook)
{
    questionHook = std::move(hook);
}

void CallHome::setOpenHook(std::function<void(const std::string&)> hook)
{
    openHook = std::move(hook);
}

void CallHome::readClock()
{
    const Today today = clock ? clock() : localToday();
    todayDay = today.day;
    todayYear = today.year;
}

bool CallHome::readStoredDate()
{
    const auto path = settingsFile();
    if (path.empty() || !SettingsPaths::isFile(path))
        return false;
    const auto text = readWholeFile(path);
    if (text.empty())
        return false;
    // "day:::year"; without a ':' the year is read from the third character on.
    const auto colon = TextCut::find(text, ":");
    storedDay = StringInInt(TextCut::upTo(text, ":"));
    storedYear = StringInInt(TextCut::tail(text, colon == TextCut::npos ? 2 : colon + 3));
    return true;
}

bool CallHome::dueToday() const
{
    if (todayYear > storedYear)
        return true;
    return todayDay > storedDay;
}

void CallHome::storeToday()
{
    std::stringstream content;
    content << todayDay.load() << ":::" << todayYear.load();
    SafeFile(content);
}

void CallHome::askServer(const std::string& serial)
{
    const auto address = checkAddress(serial, settings->version, baseUrl);
    std::string reply, link;
    if (UpdateServer::fetch(address, reply, [this] { return shouldStop(); }) != UpdateServer::received)
        return;
    if (UpdateServer::readAnswer(reply, link) != UpdateServer::Answer::update)
        return;
    offerDownload(link, settings->productFolder);
}

bool CallHome::shouldStop() const
{
    return stopRequested.load() || global->quitRequested.load();
}

void CallHome::showQuestion()
{
    if (questionHook)
    {
        questionHook(downloadlink.get());
        return;
    }
    // Without a screen (a headless render host) there is nobody to ask.
    if (!hasDisplay())
        return;
    juce::AlertWindow::showOkCancelBox(juce::MessageBoxIconType::QuestionIcon, "Plug-in update available",
                                       "Do you want to download the latest version of the plug-in?", "OK",
                                       "Cancel", nullptr, new ManuelUpdate_AlertWindowResultWorker());
}

void* delegatorCallHome(void* arg)
{
    auto* callHome = static_cast<CallHome*>(arg);
    if (callHome == nullptr || callHome->settings == nullptr)
        return nullptr;
    const std::string folder = callHome->settings->productFolder;
    Debug::DebugLog(0, "Call Home Thread started", __FILE__, __LINE__, folder);
    callHome->calling();
    Debug::DebugLog(0, "Call Home Thread ended", __FILE__, __LINE__, folder);
    return nullptr;
}
