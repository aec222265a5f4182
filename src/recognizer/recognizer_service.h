#pragma once

#include "platform/recognizer_protocol.h"
#include "platform/text_reader.h"

#include <QByteArray>

#include <memory>

namespace Recognizer {

// The engines, loaded once when the helper starts.
struct Engines {
    std::unique_ptr<Platform::TextReader> text; // null without the languages' models: no text is found

    // languages as chooseLanguages() gives them: "deu+eng", or "auto:deu".
    [[nodiscard]] static Engines load(const QString &languages = QStringLiteral("eng"));
};

// Does what one request asks and returns the reply to write. The abort job does not return.
[[nodiscard]] QByteArray answer(Platform::RecognizerRequest request, Engines &engines);

// Says it is ready, then answers the requests read from input, in order, on output until input ends. Call it once
// the engines are loaded: the client's time limit for a job counts from then. Returns the exit status: 0 when
// input ended between two requests, 1 for a malformed or cut-off request or a reply that could not be written.
[[nodiscard]] int serveRequests(int input, int output, Engines &engines);

} // namespace Recognizer
