// The binary file and the typed primitives written to and read from it.
#ifndef TERVIK_ROM_SRC_COMMON_SERIALIZATION_FILE_HPP
#define TERVIK_ROM_SRC_COMMON_SERIALIZATION_FILE_HPP

#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>

#include <json/value.h>

#include "common/replacing_file.hpp"

namespace Tervik::Rom::Common {

// Reads bytes at the position of file into data, a half on each of two threads (positioned
// reads of its descriptor), then moves the position past them. False when the position cannot
// be had (nothing read); throws the read error when the file ends before.
bool ReadOnTwoThreads(std::FILE* file, void* data, std::uint64_t bytes);

// Little-endian primitives without tags or padding. Arrays carry no count; a string
// is an i32 byte count then the bytes; JSON is its one-line text as a string.
class IStreamAdapter {
public:
    virtual ~IStreamAdapter() = default;
    virtual void Read(Json::Value& value) = 0;
    virtual void Read(std::string& text) = 0;
    virtual void Read(double* data, std::uint32_t count) = 0;
    virtual void Read(float* data, std::uint32_t count) = 0;
    virtual void Read(std::int64_t* data, std::uint32_t count) = 0;
    virtual void Read(std::int32_t* data, std::uint32_t count) = 0;
    virtual void Read(std::uint32_t* data, std::uint32_t count) = 0;
    virtual void Read(std::int16_t* data, std::uint32_t count) = 0;
    // A string into a new[] block with a terminating 0; the caller deletes it.
    virtual void Read(char** text) = 0;
    virtual void Read(bool* data, std::uint32_t count) = 0;
    virtual void Read(char* data, std::uint32_t count) = 0;
    virtual void Write(const double* data, std::uint32_t count) = 0;
    virtual void Write(const float* data, std::uint32_t count) = 0;
    virtual void Write(const std::int64_t* data, std::uint32_t count) = 0;
    virtual void Write(const std::int32_t* data, std::uint32_t count) = 0;
    virtual void Write(const std::uint32_t* data, std::uint32_t count) = 0;
    virtual void Write(const std::int16_t* data, std::uint32_t count) = 0;
    virtual void Write(const char* data, std::uint32_t count) = 0;
    virtual void Write(const Json::Value& value) = 0;
    virtual void Write(const std::string& text) = 0;
    virtual void Write(double value) = 0;
    virtual void Write(float value) = 0;
    virtual void Write(std::int64_t value) = 0;
    virtual void Write(std::int32_t value) = 0;
    virtual void Write(std::uint32_t value) = 0;
    virtual void Write(std::int16_t value) = 0;
    virtual void Write(const char* text) = 0;
    virtual void Write(bool value) = 0;
    virtual void Write(char value) = 0;

    // Bytes left to read in the file; readers check it before sizing anything from
    // what they read.
    virtual std::uint64_t GetRemainingBytes() const = 0;
    // Throws the read error unless count elements of size bytes remain.
    void RequireRemaining(std::uint64_t count, std::uint64_t size) const;
    // Why a JSON text read so far would not be saved back as it stands (the first: a key
    // given twice in one object, or a text no save writes), or "". The reader refuses the
    // file for it once all else was read.
    const std::string& Doubt() const { return doubt_; }

protected:
    std::string doubt_;
};

class CStreamAdapter : public IStreamAdapter {
public:
    // Borrows the stream; readable is the number of bytes a reader may take; fileName
    // names the file in messages.
    CStreamAdapter(std::FILE* file, std::uint64_t readable, std::string fileName = std::string());

    void Read(Json::Value& value) override;
    void Read(std::string& text) override;
    void Read(double* data, std::uint32_t count) override;
    void Read(float* data, std::uint32_t count) override;
    void Read(std::int64_t* data, std::uint32_t count) override;
    void Read(std::int32_t* data, std::uint32_t count) override;
    void Read(std::uint32_t* data, std::uint32_t count) override;
    void Read(std::int16_t* data, std::uint32_t count) override;
    void Read(char** text) override;
    void Read(bool* data, std::uint32_t count) override;
    void Read(char* data, std::uint32_t count) override;
    void Write(const double* data, std::uint32_t count) override;
    void Write(const float* data, std::uint32_t count) override;
    void Write(const std::int64_t* data, std::uint32_t count) override;
    void Write(const std::int32_t* data, std::uint32_t count) override;
    void Write(const std::uint32_t* data, std::uint32_t count) override;
    void Write(const std::int16_t* data, std::uint32_t count) override;
    void Write(const char* data, std::uint32_t count) override;
    void Write(const Json::Value& value) override;
    void Write(const std::string& text) override;
    void Write(double value) override;
    void Write(float value) override;
    void Write(std::int64_t value) override;
    void Write(std::int32_t value) override;
    void Write(std::uint32_t value) override;
    void Write(std::int16_t value) override;
    void Write(const char* text) override;
    void Write(bool value) override;
    void Write(char value) override;
    std::uint64_t GetRemainingBytes() const override { return remaining_; }

private:
    template <class T>
    void ReadArray(T* data, std::uint32_t count);
    template <class T>
    void WriteArray(const T* data, std::uint32_t count);
    template <class T>
    void WriteValue(T value);
    void CheckStream() const;

    std::FILE* file_;
    std::uint64_t remaining_;
    std::string fileName_;
};

class ISerializationFile {
public:
    virtual ~ISerializationFile() = default;
    virtual const std::string& GetFileName() const = 0;
    virtual std::FILE* GetFile() const = 0;
    virtual IStreamAdapter* GetStreamAdapter() const = 0;
};

// One binary file, opened by its UTF-8 name. A file opened for serializing is written
// beside its target and replaces it only when Close succeeds; destroying it before
// that leaves the target as it was.
class CSerializationFile : public ISerializationFile {
public:
    CSerializationFile() = default;
    CSerializationFile(const CSerializationFile&) = delete;
    CSerializationFile& operator=(const CSerializationFile&) = delete;
    ~CSerializationFile() override;

    const std::string& GetFileName() const override { return fileName_; }
    std::FILE* GetFile() const override { return file_; }
    IStreamAdapter* GetStreamAdapter() const override { return adapter_.get(); }

    void OpenForDeserializing(std::string fileName);
    void OpenForSerializing(std::string fileName);
    void Close();

private:
    std::string fileName_;
    std::FILE* file_ = nullptr;
    std::unique_ptr<IStreamAdapter> adapter_;
    std::unique_ptr<CReplacingFile> output_;
};

}  // namespace Tervik::Rom::Common

#endif
