// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

/// \file
/// The unit of every exchange with the source service: a text that normally is a JSON document,
/// a number and a second text that travel with it unchanged, and an optional byte buffer.
///
/// 1. A message is of "JSON type" while m_JsonRoot is not empty (null, [] and {} are empty). Then
///    m_JsonRoot is the master copy, and m_Message may lag behind it until Generate() runs.
/// 2. Failures show as results. Text that is not JSON is no error: such a message travels as
///    text. Only the caller's own use of m_JsonRoot, generating text from it and a lack of memory
///    can throw.
/// 3. Threads: messages are plain values. Any thread may use one, but not two threads the same.
/// 4. Buffers are arrays made with new[] and are released with delete[].
#ifndef SOURCE_TC_MESSAGE_H
#define SOURCE_TC_MESSAGE_H

#include <json/json.h>

#include <string>

/// A text and the JSON value in it.
class SourceTCData {
 public:
    SourceTCData();
    /// Takes the text and parses it (see Parse).
    SourceTCData(const std::string &text);
    /// Copies text and JSON value, not the error report, and generates the text anew.
    SourceTCData(const SourceTCData &other);
    /// Copies text and JSON value. The text is not generated anew and the error report stays.
    SourceTCData &operator=(const SourceTCData &other);
    virtual ~SourceTCData();

    /// Reads m_Message into m_JsonRoot unless the message is of JSON type already. Returns true
    /// when the message was of JSON type or the text was JSON. Otherwise m_JsonRoot is null,
    /// GetError() tells why, "NOT JSON TYPE MESSAGE!" is logged, and the result is false.
    bool Parse();

    /// Writes m_JsonRoot into m_Message when the message is of JSON type; else does nothing.
    void Generate();

    /// The text, generated first when the message is of JSON type and has no text yet.
    std::string GetMessage();

    /// The text. For a message of JSON type without text, which cannot be generated here, the
    /// fixed text "<<WARN: JSON TYPE MESSAGE, GENERATE STRING FIRST>>".
    std::string GetMessage() const;

    /// The JSON reader's report of the last parse, "no error" when there is none.
    std::string GetError();

    /// Replaces text and JSON value and parses the text. Returns the result of Parse().
    bool SetMessage(const std::string &text);

    std::string m_Message;                      ///< the text; see 1 above
    std::string m_Error;                        ///< the JSON reader's report
    Json::Value m_JsonRoot;                     ///< the JSON value; see 1 above
    Json::StreamWriterBuilder m_WriterBuilder;  ///< how the value becomes text
};

/// A message: such a text, with a number, a second text and a buffer.
class SourceTCMessage : public SourceTCData {
 public:
    SourceTCMessage();
    /// Copies everything but the error report, the buffer byte by byte, and generates the text
    /// anew.
    SourceTCMessage(const SourceTCMessage &other);
    /// Copies in the same way. The error report stays.
    SourceTCMessage &operator=(const SourceTCMessage &other);
    /// Frees the buffer.
    ~SourceTCMessage() override;

    /// Replaces the buffer by a copy of `size` bytes at `data`, or removes it when `size` is 0.
    /// `data` must point to `size` readable bytes; it is not checked.
    void SetBuffer(const unsigned char *data, unsigned int size);

    /// Points `data` at the buffer itself, null when there is none, and returns its size in bytes.
    /// The message keeps owning it; the pointer is good until the buffer is replaced.
    unsigned int GetBuffer(unsigned char *&data) const;

    /// Stores a copy of the buffer in *data, which the caller releases with delete[], and returns
    /// its size in bytes. Returns 0 and leaves *data alone when there is no buffer or `data` is
    /// null.
    unsigned int CopyBuffer(unsigned char **data) const;

    unsigned int m_AuxNumber;   ///< travels unchanged
    std::string m_AuxText;      ///< travels unchanged
    unsigned char *m_Buffer;    ///< owned; null when there is none
    unsigned int m_BufferSize;  ///< in bytes
};

#endif
