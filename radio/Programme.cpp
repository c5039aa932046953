#include "radio/Programme.h"

namespace {

void takeOver(std::string& text, std::string const& news) {
    if (!news.empty()) {
        text = news;
    }
}

} // namespace

void Station::update(Station const& news) {
    takeOver(name, news.name);
    takeOver(slogan, news.slogan);
    takeOver(country, news.country);
    takeOver(facilityId, news.facilityId);
    for (auto const& [number, service] : news.programs) {
        takeOver(programs[number].name, service.name);
        takeOver(programs[number].type, service.type);
    }
}
