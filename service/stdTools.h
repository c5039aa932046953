#pragma once

#include <string>

/**
 * Logging and the conversions between text and numbers.
 *
 * Every class that logs holds one. There is no lock: all of the service's logging happens on the
 * main thread.
 */
class stdTools {
public:
    /** Severity of a log line, and its prefix: "Message: ", "Warning: ", "Error: ". */
    enum ErrorLevel : int { Message = 0, Warning = 1, Error = 2 };

    virtual ~stdTools();

    /** Whether messages and warnings of this object also go to standard output; errors always do.
     */
    bool DEBUG = false;

    /** Whether lines go to the log file, for all objects. */
    inline static bool FILELOGGING = false;

    /** The log file. The program never changes it; a test does, to have a log of its own. */
    inline static std::string LOGFILEPATH = "/tmp/Songlatching.log";

    /**
     * Writes one line to the log file and, by level and DEBUG, to standard output.
     *
     * The file is opened for each line, so that it can be moved away or deleted at any time.
     * Problems with it cost the line and are never reported. A negative level makes the file and
     * writes nothing; a level above Error writes the line without a prefix.
     *
     * @param source class and operation that speak, as in "CTaggingImpl_tagRequest"
     */
    void Output(std::string source, std::string message, ErrorLevel level) const;

    /** True for exactly "true". */
    static bool parseBool(std::string const& text);

    /**
     * The number at the start of a text, leading white space skipped, anything behind it ignored.
     * @throws CTagException* with ExConversion if there is none or it does not fit
     */
    static int parseInt(std::string const& text);
    /** Like parseInt; the range is that of 32 bits wherever the program runs. */
    static unsigned long parseULong(std::string const& text);
    /** Like parseInt. */
    static float parseFloat(std::string const& text);

    static std::string toString(bool value);
    static std::string toString(int value);
    static std::string toString(unsigned int value);
    static std::string toString(unsigned long value);
    static std::string toString(double value);
    static std::string toString(char const* text);
};

/** The logger of main. */
extern stdTools tools;
