#pragma once

#include "bus/CSvcClientBase.h"
#include "bus/CSvcImplBase.h"
#include "radio/NowPlaying.h"
#include "radio/TagText.h"
#include "radio/Timer.h"

#include <chrono>
#include <functional>
#include <json/value.h>
#include <json/writer.h>
#include <string>
#include <vector>

/**
 * The radio on the bus: tells what is playing and marks it on the tagging service. All operations
 * belong to the main thread.
 */
class RadioService : public CSvcClientBase, public CSvcImplBase {
public:
    /**
     * Is not on the bus before publish().
     * @param settle called before somebody is told what is playing, so that what has just come
     *        counts
     */
    RadioService(NowPlaying& playing, Reception const& reception, std::function<void()> settle);
    virtual ~RadioService() = default;

    /** Takes the bus name and tells what is playing. @return false if the name is not to be had */
    bool publish();

    /** What the loop is to wait for. */
    Source& timer() { return mDeadline; }

    /** A press of a button that is not on the bus. */
    void press();
    /** What is playing has changed. */
    void announce(std::string const& time);

    bool isIdle() const { return mPresses.empty(); }
    /** Called when the last press that waited has its answer. */
    void onIdle(std::function<void()> report) { mReportIdle = std::move(report); }

    void processTellbusRequest(CTellbusRequest* request) override;
    using CSvcClientBase::processTellbusResult;
    void processTellbusResult(unsigned int const& id, char const* text, void* context) override;
    void processTellbusNameChange(unsigned int const& id, CTellbusNameChange const* change,
                                  void* context) override;

private:
    /** A press whose song is on its way to the service. */
    struct Press {
        unsigned int call;
        void* request; ///< the bus library's, null for a button that is not on the bus
        std::string songs;
        std::chrono::steady_clock::time_point deadline;
    };
    using Presses = std::vector<Press>;

    void tagNow(Json::Value const& parameters, void* request);
    void answer(Press const& press, std::string const& text);
    void answerFirst(std::string const& text);
    void remove(Presses::iterator press, std::string const& text);
    void giveUpLate();
    void startDeadline();
    Json::Value nowPlaying() const;
    Json::Value getProperties(Json::Value const& parameters) const;
    void reply(void* request, std::string const& text);

    NowPlaying& mPlaying;
    Reception const& mReception;
    std::function<void()> mSettle;
    std::function<void()> mReportIdle = [] {};
    std::string mTime; ///< of the last change, as the input tells it
    Presses mPresses;
    Timer mDeadline;
    Json::FastWriter mWriter;
};
