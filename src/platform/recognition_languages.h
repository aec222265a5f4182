#pragma once

#include <QLocale>
#include <QString>
#include <QStringList>
#include <QStringView>

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

// The languages a capture is read in, as Tesseract takes them ("deu+eng"). A choice of languages (first one
// primary) keeps those that are installed, in order. No choice, or none of it installed, means automatic: the
// desktop's language where it is installed, then English, which screens show everywhere. English alone when
// nothing else is there.
[[nodiscard]] QString chooseLanguages(const QStringList &choice, const QStringList &installed, const QString &desktop);

} // namespace Platform
