// SPDX-License-Identifier: GPL-3.0-or-later
// Code pages declared in the header, files whose header names the wrong one, and the guards that
// keep plausible readings. Test files are written with the platform converter, as another program
// would write them.
#include "document/EncodingGuess.h"
#include "document/GedcomReader.h"
#include "document/GedcomWriter.h"

#include <gtest/gtest.h>
#include <iconv.h>

#include <string>
#include <vector>

using namespace kinloom;

namespace {

/// UTF-8 text in another character set, by the platform converter.
std::string converted(const std::string& text, const char* charset)
{
    iconv_t cd = iconv_open(charset, "UTF-8");
    EXPECT_NE(cd, reinterpret_cast<iconv_t>(-1)) << charset;
    std::string out(text.size() * 4 + 8, '\0');
    char* in = const_cast<char*>(text.data());
    std::size_t inLeft = text.size();
    char* o = out.data();
    std::size_t outLeft = out.size();
    const std::size_t result = iconv(cd, &in, &inLeft, &o, &outLeft);
    iconv_close(cd);
    EXPECT_EQ(result, 0u) << charset;
    out.resize(out.size() - outLeft);
    return out;
}

/// A short tree: the header lines given, then one person per name.
std::string tree(const std::string& headerLines, const std::vector<std::string>& names)
{
    std::string text = "0 HEAD\r\n1 GEDC\r\n2 VERS 5.5.1\r\n" + headerLines;
    for (std::size_t i = 0; i < names.size(); ++i) {
        text += "0 @I" + std::to_string(i + 1) + "@ INDI\r\n1 NAME " + names[i] + "\r\n";
        text += "1 BIRT\r\n2 PLAC " + names[i] + "\r\n";
    }
    return text + "0 TRLR\r\n";
}

std::string nameOf(const GedcomDocument& document, std::size_t person)
{
    return std::string(document.record(person + 1).firstChild("NAME")->value().value_or(""));
}

const std::vector<std::string> polish{"Stanisław /Wójcik/", "Józef /Łukasiewicz/", "Godziszów /Zięba/"};
const std::vector<std::string> czech{"Čeněk /Dvořák/", "Růžena /Šťastná/"};
const std::vector<std::string> hungarian{"Győző /Szőke/", "Erzsébet /Kovács/"};
const std::vector<std::string> russian{"Иван /Петров/", "Наталья /Смирнова/", "Сергей /Кузнецов/"};
const std::vector<std::string> ukrainian{"Ґалина /Їжакевич/", "Олексій /Шевченко/"};
const std::vector<std::string> greek{"Γεώργιος /Παπαδόπουλος/", "Ελένη /Νικολάου/"};
const std::vector<std::string> turkish{"Ayşe /Çağlar/", "Gülşen /Öztürk/"};
const std::vector<std::string> lithuanian{"Jonas /Žemaitis/", "Ona /Šlapelytė/", "Vytautas /Ąžuolas/"};

} // namespace

TEST(CodePages, DeclaredCodePagesReadAndSaveBack)
{
    struct Case
    {
        std::string header; ///< the header's CHAR line, and VERS or LANG where the case needs one
        const char* charset;
        TextEncoding encoding;
        std::string_view display;
        const std::vector<std::string>* names;
    };
    const std::vector<Case> cases{
        {"1 CHAR WINDOWS-1250\r\n", "CP1250", TextEncoding::windows1250, "Windows-1250 (Central European)",
         &polish},
        {"1 CHAR CP1250\r\n", "CP1250", TextEncoding::windows1250, "Windows-1250 (Central European)", &czech},
        {"1 CHAR MS-1250\r\n", "CP1250", TextEncoding::windows1250, "Windows-1250 (Central European)",
         &hungarian},
        {"1 CHAR ANSI\r\n2 VERS 1250\r\n", "CP1250", TextEncoding::windows1250,
         "Windows-1250 (Central European)", &polish},
        {"1 CHAR ANSI\r\n1 LANG Czech\r\n", "CP1250", TextEncoding::windows1250,
         "Windows-1250 (Central European)", &czech},
        {"1 CHAR ISO-8859-2\r\n", "ISO-8859-2", TextEncoding::iso8859_2, "ISO-8859-2 (Central European)",
         &polish},
        {"1 CHAR ISO8859-2\r\n", "ISO-8859-2", TextEncoding::iso8859_2, "ISO-8859-2 (Central European)",
         &hungarian},
        {"1 CHAR LATIN2\r\n", "ISO-8859-2", TextEncoding::iso8859_2, "ISO-8859-2 (Central European)", &czech},
        {"1 CHAR IBM852\r\n", "CP852", TextEncoding::dos852, "DOS 852 (Central European)", &polish},
        {"1 CHAR CP1251\r\n", "CP1251", TextEncoding::windows1251, "Windows-1251 (Cyrillic)", &russian},
        {"1 CHAR windows-1251\r\n", "CP1251", TextEncoding::windows1251, "Windows-1251 (Cyrillic)",
         &ukrainian},
        {"1 CHAR IBM WINDOWS\r\n2 VERS 1251\r\n", "CP1251", TextEncoding::windows1251,
         "Windows-1251 (Cyrillic)", &russian},
        {"1 CHAR ANSI\r\n1 LANG Russian\r\n", "CP1251", TextEncoding::windows1251, "Windows-1251 (Cyrillic)",
         &russian},
        {"1 CHAR KOI8-R\r\n", "KOI8-R", TextEncoding::koi8R, "KOI8-R (Cyrillic)", &russian},
        {"1 CHAR KOI8-U\r\n", "KOI8-U", TextEncoding::koi8U, "KOI8-U (Ukrainian)", &ukrainian},
        {"1 CHAR CP866\r\n", "CP866", TextEncoding::dos866, "DOS 866 (Cyrillic)", &russian},
        {"1 CHAR ISO-8859-5\r\n", "ISO-8859-5", TextEncoding::iso8859_5, "ISO-8859-5 (Cyrillic)", &russian},
        {"1 CHAR WINDOWS-1253\r\n", "CP1253", TextEncoding::windows1253, "Windows-1253 (Greek)", &greek},
        {"1 CHAR ANSI\r\n1 LANG Greek\r\n", "CP1253", TextEncoding::windows1253, "Windows-1253 (Greek)",
         &greek},
        {"1 CHAR ISO-8859-7\r\n", "ISO-8859-7", TextEncoding::iso8859_7, "ISO-8859-7 (Greek)", &greek},
        {"1 CHAR CP1254\r\n", "CP1254", TextEncoding::windows1254, "Windows-1254 (Turkish)", &turkish},
        {"1 CHAR LATIN5\r\n", "ISO-8859-9", TextEncoding::iso8859_9, "ISO-8859-9 (Turkish)", &turkish},
        {"1 CHAR WINDOWS-1257\r\n", "CP1257", TextEncoding::windows1257, "Windows-1257 (Baltic)",
         &lithuanian},
        {"1 CHAR ANSI\r\n1 LANG Lithuanian\r\n", "CP1257", TextEncoding::windows1257, "Windows-1257 (Baltic)",
         &lithuanian},
        {"1 CHAR ISO-8859-13\r\n", "ISO-8859-13", TextEncoding::iso8859_13, "ISO-8859-13 (Baltic)",
         &lithuanian},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.header);
        const std::string bytes = converted(tree(c.header, *c.names), c.charset);
        const GedcomDocument document = GedcomReader::read(bytes);
        ASSERT_EQ(document.encoding, c.encoding) << displayName(document.encoding);
        EXPECT_EQ(displayName(document.encoding), c.display);
        EXPECT_TRUE(document.readNotes.empty());
        for (std::size_t i = 0; i < c.names->size(); ++i)
            EXPECT_EQ(nameOf(document, i), (*c.names)[i]);
        EXPECT_EQ(GedcomWriter::write(document).data, bytes);

        // An edit in the same script stays in the code page.
        GedcomDocument edited = document;
        const std::int64_t nameID = edited.record(1).firstChild("NAME")->id();
        edited.update(nameID, [&](GedcomNode& node) { node.setValue((*c.names)[1]); });
        const GedcomWriter::Output output = GedcomWriter::write(edited);
        EXPECT_EQ(output.encoding, c.encoding);
        EXPECT_EQ(output.note, std::nullopt);
        EXPECT_EQ(GedcomReader::read(output.data).record(1).firstChild("NAME")->value(), (*c.names)[1]);

        // A character the code page lacks sends the whole file to UTF-8, with the note.
        edited.update(nameID, [](GedcomNode& node) { node.setValue("\u5F20 /\u4F1F/"); });
        const GedcomWriter::Output fallback = GedcomWriter::write(edited);
        EXPECT_EQ(fallback.encoding, TextEncoding::utf8);
        EXPECT_EQ(fallback.note, "Some text has no " + std::string(c.display) +
                                     " form, so the file was saved as UTF-8 (its CHAR line now says UTF-8).");
        const GedcomDocument reread = GedcomReader::read(fallback.data);
        EXPECT_EQ(nameOf(reread, 1), (*c.names)[1]);
    }
}

TEST(CodePages, MislabelledFilesAreReadInTheirCodePage)
{
    const auto says = [](std::string_view said, std::string_view display, std::string_view shortName) {
        return "The file says " + std::string(said) + " but its text looks like " + std::string(display) +
               "; it was read (and will be saved) as " + std::string(shortName) + ".";
    };
    struct Case
    {
        std::string header;
        const char* charset;
        const std::vector<std::string>* names;
        TextEncoding encoding;
        std::vector<std::string> notes;
    };
    const std::vector<Case> cases{
        {"1 CHAR ANSEL\r\n",
         "CP1251",
         &russian,
         TextEncoding::windows1251,
         {says("ANSEL", "Windows-1251 (Cyrillic)", "Windows-1251")}},
        {"1 CHAR ANSI\r\n",
         "CP1251",
         &russian,
         TextEncoding::windows1251,
         {says("ANSI", "Windows-1251 (Cyrillic)", "Windows-1251")}},
        {"1 CHAR ANSI\r\n",
         "CP1250",
         &polish,
         TextEncoding::windows1250,
         {says("ANSI", "Windows-1250 (Central European)", "Windows-1250")}},
        {"1 CHAR ANSI\r\n1 LANG Polish\r\n", "CP1250", &polish, TextEncoding::windows1250, {}},
        {"1 CHAR UTF-8\r\n",
         "KOI8-R",
         &russian,
         TextEncoding::koi8R,
         {says("UTF-8", "KOI8-R (Cyrillic)", "KOI8-R")}},
        {"",
         "CP1253",
         &greek,
         TextEncoding::windows1253,
         {says("UTF-8", "Windows-1253 (Greek)", "Windows-1253")}},
        {"1 CHAR ANSI\r\n",
         "UTF-8",
         &polish,
         TextEncoding::utf8,
         {"The file says ANSI but its text is UTF-8; it was read (and will be saved) as UTF-8."}},
        {"1 CHAR CP1251\r\n",
         "UTF-8",
         &russian,
         TextEncoding::utf8,
         {"The file says CP1251 but its text is UTF-8; it was read (and will be saved) as UTF-8."}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.header + c.charset);
        const std::string bytes = converted(tree(c.header, *c.names), c.charset);
        const GedcomDocument document = GedcomReader::read(bytes);
        EXPECT_EQ(document.encoding, c.encoding) << displayName(document.encoding);
        EXPECT_EQ(document.readNotes, c.notes);
        for (std::size_t i = 0; i < c.names->size(); ++i)
            EXPECT_EQ(nameOf(document, i), (*c.names)[i]);
        EXPECT_EQ(GedcomWriter::write(document).data, bytes);
    }
}

TEST(CodePages, PlausibleReadingsAreKept)
{
    struct Case
    {
        std::string name;
        std::string bytes;
        TextEncoding encoding;
    };
    // French notes in ANSEL: marks before their letters, some of them ANSEL's own symbols.
    const std::string ansel = "0 HEAD\r\n1 CHAR ANSEL\r\n0 @I1@ INDI\r\n1 NAME Fran\xF0"
                              "coise /L\xE2"
                              "eger/\r\n1 NOTE Elle s'arr\xE3"
                              "ete \xE0 la for\xE3"
                              "et, pr\xE8"
                              "es de l'\xE2"
                              "eglise \xC3 1890\r\n0 TRLR\r\n";
    // English in Windows-1252 with a few accented names and curly quotes.
    const std::string english =
        "0 HEAD\r\n1 CHAR ANSI\r\n0 @I1@ INDI\r\n1 NAME Jos\xE9 /M\xFCller/\r\n"
        "1 NOTE He was called \x93Joe\x94 by his friends \x96 and by Fran\xE7oise.\r\n"
        "0 @I2@ INDI\r\n1 NAME Zo\xEB /\xC5sberg/\r\n0 TRLR\r\n";
    // The same, with no CHAR line: not UTF-8, so Windows-1252 with its note.
    const std::string unlabelled = "0 HEAD\r\n0 @I1@ INDI\r\n1 NAME Jos\xE9 /Garc\xED"
                                   "a/\r\n0 TRLR\r\n";
    const std::vector<Case> cases{
        {"ANSEL with French accents", ansel, TextEncoding::ansel},
        {"English Windows-1252 with a few accents", english, TextEncoding::windows1252},
        {"Windows-1252 without a CHAR line", unlabelled, TextEncoding::windows1252},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const GedcomDocument document = GedcomReader::read(c.bytes);
        EXPECT_EQ(document.encoding, c.encoding) << displayName(document.encoding);
        for (const std::string& note : document.readNotes)
            EXPECT_EQ(note.find("looks like"), std::string::npos) << note;
        EXPECT_EQ(GedcomWriter::write(document).data, c.bytes);
    }
}

TEST(CodePages, WordsNoLanguageWrites)
{
    struct Case
    {
        std::string bytes;
        TextEncoding encoding;
        std::size_t implausible;
    };
    const std::vector<Case> cases{
        {"Stanis\xB3"
         "aw",
         TextEncoding::windows1252, 1}, // a symbol between letters
        {"Stanis\xB3"
         "aw",
         TextEncoding::windows1250, 0},
        {"Stanis\xB3"
         "aw",
         TextEncoding::windows1251, 1},                     // Latin and Cyrillic in one word
        {"\xC8\xE2\xE0\xED", TextEncoding::windows1252, 1}, // a Latin word of accented letters only
        {"\xC8\xE2\xE0\xED", TextEncoding::windows1251, 0},
        {"\xC8\xE2\xE0\xED", TextEncoding::koi8R, 1}, // a capital after a small letter
        {"ab\xCD"
         "cd",
         TextEncoding::ansel, 1}, // a byte with no ANSEL character
        {"caf\xE2"
         "e na\xE8"
         "ive",
         TextEncoding::ansel, 0},
        {"a\x81"
         "b",
         TextEncoding::windows1252, 1},       // a control character inside a word
        {"\xE9\x81", TextEncoding::koi8R, 1}, // a box drawing after a letter ends no word
        {"N\xB0 5", TextEncoding::windows1252, 0},
        {"Jos\xE9 M\xFCller", TextEncoding::windows1252, 0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.bytes + " in " + std::string(displayName(c.encoding)));
        EXPECT_EQ(EncodingGuess::implausibleWords(c.bytes, c.encoding), c.implausible);
    }
}

TEST(CodePages, UserNamesAndChosenEncodings)
{
    EXPECT_EQ(textEncodingFromUserName("ansel"), TextEncoding::ansel);
    EXPECT_EQ(textEncodingFromUserName("ANSEL"), TextEncoding::ansel);
    EXPECT_EQ(textEncodingFromUserName("cp1251"), TextEncoding::windows1251);
    EXPECT_EQ(textEncodingFromUserName("iso-8859-2"), TextEncoding::iso8859_2);
    EXPECT_EQ(textEncodingFromUserName("koi8r"), TextEncoding::koi8R);
    EXPECT_EQ(textEncodingFromUserName("utf-16le"), TextEncoding::utf16LE);
    EXPECT_EQ(textEncodingFromUserName("klingon"), std::nullopt);
    for (const TextEncoding encoding : allTextEncodings)
        EXPECT_EQ(textEncodingFromUserName(rawValue(encoding)), encoding) << rawValue(encoding);

    // A chosen encoding is taken as it is, whatever the header says and whatever the text looks like.
    const std::string bytes = converted(tree("1 CHAR ANSEL\r\n", russian), "CP1251");
    const GedcomDocument asKOI8 = GedcomReader::read(bytes, GedcomReader::ReadOptions{TextEncoding::koi8R});
    EXPECT_EQ(asKOI8.encoding, TextEncoding::koi8R);
    EXPECT_TRUE(asKOI8.readNotes.empty());
    EXPECT_EQ(GedcomWriter::write(asKOI8).data, bytes);
    const GedcomDocument asAnsel = GedcomReader::read(bytes, GedcomReader::ReadOptions{TextEncoding::ansel});
    EXPECT_EQ(asAnsel.encoding, TextEncoding::ansel);
    EXPECT_EQ(GedcomWriter::write(asAnsel).data, bytes);
}
