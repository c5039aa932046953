#pragma once

/**
 * Self-test of the tag stream decoder, which no part of the running service calls: decodes the
 * sample streams and adds their tags to the local tag files of the configured folder.
 *
 * @return 0
 * @throws CTagException* whatever the files or the decoder throw; AmbigTag.xml has to be there
 */
int TestParse();
