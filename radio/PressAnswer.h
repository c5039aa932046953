#pragma once

#include <string>

/**
 * What a press is answered where the service has no answer, in the form of the service's: a name
 * and a value, which is 0, as no status of the service is. The message is for people.
 */
namespace pressanswer {

std::string nothingPlaying();
std::string noService();
std::string refused();
std::string noAnswer(unsigned int seconds);
std::string serviceEnded();
std::string tooMany();

/** The name in an answer, the service's or one of these; all of it if it has none. */
std::string nameIn(std::string const& answer);

} // namespace pressanswer
