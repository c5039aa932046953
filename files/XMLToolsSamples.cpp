#include "files/XMLTools.h"

#include "tagdata/CAmbigTag.h"

namespace {

struct Song {
    char const* name;
    char const* artist;
    char const* album;
    char const* genre;
};

struct Station {
    char const* callLetters;
    char const* frequency;
    char const* url;
};

constexpr char AFFILIATE_ID[] = "SAMPLE-00-1234";
constexpr char SONG_ID[] = "1000000042";
constexpr unsigned long STOREFRONT_ID = 143411;

constexpr Song HARBOUR_LIGHTS = {"Harbour Lights at Five", "The Tin Lanterns", "Low Water", "Folk"};
constexpr Song PAPER_KITES = {"Paper Kites", "Ada Wren", "Long Way Down the Stairs", "Pop"};
constexpr Song NIGHT_BUS = {"Night Bus North", "Copper & Rye", "Terminus", "Rock"};
constexpr Song SLOW_RAIN = {"Slow Rain", "Mirela Voss", "Barometer", "Jazz"};

constexpr Station FIRST_STATION = {"AAAA-FM", "95.5", "http://first.example"};
constexpr Station SECOND_STATION = {"BBBB-FM", "101.1", "http://second.example"};
constexpr Station SHARED_STATION = {"CCCC-FM", "88.7", "http://shared.example"};

template <class Tag>
std::unique_ptr<Tag> makeSample(Song const& song, Station const& station, std::string now) {
    auto tag = std::make_unique<Tag>();
    tag->Name(song.name);
    tag->Artist(song.artist);
    tag->Album(song.album);
    tag->Genre(song.genre);
    tag->StationCallLetters(station.callLetters);
    tag->StationFrequency(station.frequency);
    tag->StationURL(station.url);
    tag->PodcastFeedURL("0");
    tag->ProgramNumber(1);
    tag->TimeStamp(std::move(now));
    tag->UnknownData("");
    tag->iTunesAffiliateID(AFFILIATE_ID);
    tag->iTunesSongID(SONG_ID);
    tag->iTunesStorefrontID(STOREFRONT_ID);
    return tag;
}

} // namespace

void XMLTools::CreateSampleData(CStack<CTag>* stack, CStack<CAmbigTag>* ambigStack) {
    log.Output("XMLTools_CreateSampleData", "fired", stdTools::Message);
    stack->Push(makeSample<CTag>(HARBOUR_LIGHTS, FIRST_STATION, FormattedNow()).release());
    stack->Push(makeSample<CTag>(PAPER_KITES, SECOND_STATION, FormattedNow()).release());
    int button = 1;
    for (Song const& song : {NIGHT_BUS, SLOW_RAIN}) {
        auto tag = makeSample<CAmbigTag>(song, SHARED_STATION, FormattedNow());
        tag->ButtonPressed(button--);
        ambigStack->Push(tag.release());
    }
}
