#pragma once

/** The files in the configured folder. */
constexpr char TAG_FILE[] = "Tags.xml";
constexpr char AMBIG_TAG_FILE[] = "AmbigTag.xml";
constexpr char TAGGED_INFO_FILE[] = "TaggedInfo.xml";

/** What a test run writes in place of sending it to an iPod, with the slash before it. */
constexpr char APPLE_TEST_FILE[] = "/AppleXML.xml";

/** What the local files begin and end with. */
constexpr char LOCAL_FILE_HEAD[] = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<MarkedTracks>\n";
constexpr char LOCAL_FILE_END[] = "</MarkedTracks>\n";
