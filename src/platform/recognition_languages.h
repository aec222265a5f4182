#pragma once

#include <QLocale>
#include <QString>
#include <QStringList>
#include <QStringView>

#include <optional>

namespace Platform {

// Recognition languages by the names of Tesseract's model files: "eng", "deu", "chi_sim", "script/Latin".

// The models installed in the folder, sorted: its *.traineddata files and those in its script/ folder, without
// "osd" and "equ", which read no language.
[[nodiscard]] QStringList installedLanguages(const QString &modelFolder);

// The Debian package that installs a model: "tesseract-ocr-deu", "tesseract-ocr-chi-sim",
// "tesseract-ocr-script-latn".
[[nodiscard]] QString debianPackage(QStringView language);

// The language's English name ("German"), or the model's own name where there is none ("script/Latin").
[[nodiscard]] QString languageName(QStringView language);

// The model of the desktop's language, e.g. "deu" for de_DE; "eng" where the locale names none (C, POSIX).
[[nodiscard]] QString desktopLanguage(const QLocale &locale = QLocale::system());

// What a capture is read in: a choice of languages (first one primary) keeps those that are installed, in order,
// as Tesseract takes them ("fra+deu"). No choice, or none of it installed, means automatic: "auto:" and the
// desktop's language, which TextReader prefers.
[[nodiscard]] QString chooseLanguages(const QStringList &choice, const QStringList &installed, const QString &desktop);

// The writing system of a model's language: "Latin", "Cyrillic", "Greek", ...; empty where it is not known.
[[nodiscard]] QString scriptOf(QStringView language);

// Which of the candidates a text is in, judged by its common short words and the letters only some of them use;
// empty when the text says too little (fewer than two such hints, or than one for every eight words) or no
// candidate clearly leads (by two hints, or as the only one with any). The text may come from a model of another
// language: stripped accents still leave the words.
[[nodiscard]] std::optional<QString> identifyLanguage(QStringView text, const QStringList &candidates);

} // namespace Platform
