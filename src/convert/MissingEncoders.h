#pragma once

#include "convert/HelperEngines.h"

#include <QString>
#include <QStringList>

#include <vector>

namespace quorvalent {

/// Targets that this machine cannot encode, because a library or program that is not ours lacks a part.
struct MissingEncoder
{
    QStringList extensions; ///< never empty
    QString needed;         ///< what would bring the encoder, by names that are the same in every language

    bool operator==(const MissingEncoder &) const = default;

    /// One French line for people.
    [[nodiscard]] QString description() const;
};

namespace MissingEncoders {

/// The argument that makes a helper program tell what it cannot encode, and do nothing else.
constexpr const char *option = "--missing-encoders";

/// How it says so: one line each.
[[nodiscard]] QByteArray encoded(const std::vector<MissingEncoder> &missing);

/// Asks both helper programs, which alone know the media libraries; ConversionError where one cannot be
/// started or does not answer. Blocks for as long as they and FFmpeg take to start: a quarter of a second.
[[nodiscard]] std::vector<MissingEncoder> of(const HelperPrograms &programs);

} // namespace MissingEncoders

} // namespace quorvalent
