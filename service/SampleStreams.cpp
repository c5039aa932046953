#include "service/SampleStreams.h"

namespace {

// One tag with an album.
constexpr char ONE_FULL_SONG[] =
    "00 14 1B 22 00 01 00 00 07 00 01 00 00 00 04 01 "             // form, lengths
    "4C 61 6E 74 65 72 6E 73 20 6F 6E 20 74 68 65 20 51 75 61 79 " // Name
    "4D 61 72 67 75 65 72 69 74 65 20 56 61 6C 65 20 26 20 74 68 " // Artist
    "65 20 54 69 64 65 73 "                                        // Artist, continued
    "48 61 72 62 6F 75 72 20 53 6F 6E 67 73 20 66 6F 72 20 61 20 " // Album
    "50 61 74 69 65 6E 74 20 57 69 6E 74 65 72 "                   // Album, continued
    "31 "                                                          // ProgramNumber
    "51 4C 54 4E 2D 46 4D "                                        // StationCallLetters
    "30 "                                                          // PodcastFeedURL
    "39 35 2E 35 "                                                 // StationFrequency
    "31";                                                          // ButtonPressed

// One tag whose album and genre are a single blank.
constexpr char ONE_SHORT_SONG[] =
    "00 0C 0C 01 01 01 00 00 07 00 01 00 00 00 04 01 " // form, lengths
    "43 6F 70 70 65 72 20 52 69 76 65 72 "             // Name
    "4F 74 74 6F 6C 69 6E 65 20 44 61 79 "             // Artist
    "20 "                                              // Album
    "20 "                                              // Genre
    "31 "                                              // ProgramNumber
    "51 52 44 4F 2D 46 4D "                            // StationCallLetters
    "30 "                                              // PodcastFeedURL
    "38 38 2E 39 "                                     // StationFrequency
    "31";                                              // ButtonPressed

// One tag with letters outside ASCII.
constexpr char ONE_LATIN1_SONG[] =
    "00 17 0F 01 01 01 00 00 07 00 01 00 00 00 04 01 "             // form, lengths
    "54 68 65 20 4C 6F 6E 67 20 57 61 79 20 74 6F 20 53 75 6E 72 " // Name
    "69 73 65 "                                                    // Name, continued
    "4A 6F 73 E9 20 56 69 6C 6C 61 6D 61 72 ED 6E "                // Artist
    "20 "                                                          // Album
    "20 "                                                          // Genre
    "31 "                                                          // ProgramNumber
    "51 53 4F 4C 2D 46 4D "                                        // StationCallLetters
    "30 "                                                          // PodcastFeedURL
    "39 37 2E 33 "                                                 // StationFrequency
    "31";                                                          // ButtonPressed

// One tag with the identifiers of the store.
constexpr char ONE_STORE_SONG[] =
    "00 0E 05 00 00 01 09 06 07 00 01 00 0E 00 04 01 " // form, lengths
    "4D 69 64 6E 69 67 68 74 20 46 65 72 72 79 "       // Name
    "49 6C 73 65 6E "                                  // Artist
    "31 "                                              // ProgramNumber
    "34 31 38 32 37 33 39 35 36 "                      // iTunesSongId
    "31 34 33 34 31 31 "                               // iTunesStorefrontId
    "51 42 41 59 2D 46 4D "                            // StationCallLetters
    "30 "                                              // PodcastFeedURL
    "41 46 46 2D 30 30 30 30 34 38 32 2D 51 4C "       // iTunesAffiliateId
    "39 39 2E 31 "                                     // StationFrequency
    "31";                                              // ButtonPressed

// Two candidates, the first with a storefront and a station address.
constexpr char TWO_SONGS_ONE_STORE[] =
    "01 0A 1B 00 00 01 00 06 07 00 01 12 0E 00 04 01 "             // form, lengths
    "0D 05 00 00 01 00 00 07 00 01 00 00 00 04 01 "                // lengths of the second
    "47 6C 61 73 73 20 52 61 69 6E "                               // Name
    "4D 61 72 67 75 65 72 69 74 65 20 56 61 6C 65 20 26 20 74 68 " // Artist
    "65 20 54 69 64 65 73 "                                        // Artist, continued
    "31 "                                                          // ProgramNumber
    "31 34 33 34 31 31 "                                           // iTunesStorefrontId
    "51 4C 54 4E 2D 46 4D "                                        // StationCallLetters
    "30 "                                                          // PodcastFeedURL
    "68 74 74 70 3A 2F 2F 71 6C 6E 2E 65 78 61 6D 70 6C 65 "       // StationURL
    "41 46 46 2D 30 30 30 30 34 38 32 2D 51 4C "                   // iTunesAffiliateId
    "39 35 2E 35 "                                                 // StationFrequency
    "31 "                                                          // ButtonPressed
    "53 65 63 6F 6E 64 20 53 70 72 69 6E 67 "                      // Name
    "49 6C 73 65 6E "                                              // Artist
    "31 "                                                          // ProgramNumber
    "51 4C 54 4E 2D 46 4D "                                        // StationCallLetters
    "30 "                                                          // PodcastFeedURL
    "39 35 2E 35 "                                                 // StationFrequency
    "30";                                                          // ButtonPressed

// Two candidates, the first known to the store.
constexpr char TWO_SONGS_BUTTON_0[] =
    "01 0B 05 00 00 01 09 06 07 00 01 12 0E 00 04 01 "       // form, lengths
    "0D 05 00 00 01 00 00 07 00 01 00 00 00 04 01 "          // lengths of the second
    "54 69 64 65 20 54 61 62 6C 65 73 "                      // Name
    "41 72 76 69 64 "                                        // Artist
    "31 "                                                    // ProgramNumber
    "35 32 39 31 30 34 37 37 33 "                            // iTunesSongId
    "31 34 33 34 31 31 "                                     // iTunesStorefrontId
    "51 52 44 4F 2D 46 4D "                                  // StationCallLetters
    "30 "                                                    // PodcastFeedURL
    "68 74 74 70 3A 2F 2F 71 72 64 2E 65 78 61 6D 70 6C 65 " // StationURL
    "41 46 46 2D 30 30 30 30 35 31 39 2D 51 52 "             // iTunesAffiliateId
    "38 38 2E 39 "                                           // StationFrequency
    "30 "                                                    // ButtonPressed
    "45 6D 70 74 79 20 54 68 65 61 74 72 65 "                // Name
    "4D 69 72 65 6B "                                        // Artist
    "31 "                                                    // ProgramNumber
    "51 52 44 4F 2D 46 4D "                                  // StationCallLetters
    "30 "                                                    // PodcastFeedURL
    "38 38 2E 39 "                                           // StationFrequency
    "31";                                                    // ButtonPressed

// Two candidates, the first known to the store.
constexpr char TWO_SONGS_BUTTON_1[] =
    "01 10 04 00 00 01 09 06 07 00 01 12 0E 00 04 01 "       // form, lengths
    "0D 05 00 00 01 00 00 07 00 01 00 00 00 04 01 "          // lengths of the second
    "4E 6F 72 74 68 65 72 6E 20 4B 69 74 63 68 65 6E "       // Name
    "52 75 6E 61 "                                           // Artist
    "31 "                                                    // ProgramNumber
    "36 33 30 32 38 35 34 31 37 "                            // iTunesSongId
    "31 34 33 34 31 31 "                                     // iTunesStorefrontId
    "51 42 41 59 2D 46 4D "                                  // StationCallLetters
    "30 "                                                    // PodcastFeedURL
    "68 74 74 70 3A 2F 2F 71 62 79 2E 65 78 61 6D 70 6C 65 " // StationURL
    "41 46 46 2D 30 30 30 30 34 38 32 2D 51 4C "             // iTunesAffiliateId
    "39 39 2E 31 "                                           // StationFrequency
    "31 "                                                    // ButtonPressed
    "57 61 6C 6B 69 6E 67 20 53 6F 6E 67 73 "                // Name
    "44 61 72 69 6F "                                        // Artist
    "31 "                                                    // ProgramNumber
    "51 42 41 59 2D 46 4D "                                  // StationCallLetters
    "30 "                                                    // PodcastFeedURL
    "39 39 2E 31 "                                           // StationFrequency
    "30";                                                    // ButtonPressed

constexpr std::array<char const*, SAMPLE_STREAM_COUNT> SAMPLES = {
    ONE_FULL_SONG,       ONE_SHORT_SONG,     ONE_LATIN1_SONG,    ONE_STORE_SONG,
    TWO_SONGS_ONE_STORE, TWO_SONGS_BUTTON_0, TWO_SONGS_BUTTON_1,
};

} // namespace

std::array<char const*, SAMPLE_STREAM_COUNT> const& sampleStreams() {
    return SAMPLES;
}
