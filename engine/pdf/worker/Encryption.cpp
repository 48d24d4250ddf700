#include "engine/pdf/worker/Encryption.h"

#include "engine/support/Bytes.h"

#include <qpdf/QPDFCryptoImpl.hh>
#include <qpdf/QPDFCryptoProvider.hh>

namespace nullprint::pdf {
namespace {

constexpr std::size_t keptBytes = 16; // Of the check of the user's password; the rest is arbitrary.

// Stands for the empty password (ISO 32000-2, 7.6.4.3.2, step a).
constexpr auto padding =
    std::to_array<Byte>({0x28, 0xBF, 0x4E, 0x5E, 0x4E, 0x75, 0x8A, 0x41, 0x64, 0x00, 0x4E,
                         0x56, 0xFF, 0xFA, 0x01, 0x08, 0x2E, 0x2E, 0x00, 0xB6, 0xD0, 0x68,
                         0x3E, 0x80, 0x2F, 0x0C, 0xA9, 0xFE, 0x64, 0x53, 0x69, 0x7A});

Bytes digestOf(ByteSpan first, ByteSpan second)
{
    const auto crypto = QPDFCryptoProvider::getImpl();
    crypto->MD5_init();
    crypto->MD5_update(first.data(), first.size());
    crypto->MD5_update(second.data(), second.size());
    crypto->MD5_finalize();
    QPDFCryptoImpl::MD5_Digest digest{};
    crypto->MD5_digest(digest);
    return {std::begin(digest), std::end(digest)};
}

Bytes enciphered(ByteSpan key, ByteSpan data)
{
    const auto crypto = QPDFCryptoProvider::getImpl();
    Bytes result(data.size());
    crypto->RC4_init(key.data(), static_cast<int>(key.size()));
    crypto->RC4_process(data.data(), data.size(), result.data());
    crypto->RC4_finalize();
    return result;
}

// What tells whether a password is right (ISO 32000-2, algorithms 4 and 5).
std::string passwordCheck(const std::string& key, int revision, const std::string& identifier)
{
    if (revision < 3)
        return std::string(asText(enciphered(asBytes(key), padding)));
    constexpr Byte rounds = 20;
    Bytes check = digestOf(padding, asBytes(identifier));
    for (Byte round = 0; round < rounds; ++round) {
        Bytes roundKey(key.begin(), key.end());
        for (Byte& byte : roundKey)
            byte ^= round;
        check = enciphered(roundKey, check);
    }
    check.resize(keptBytes * 2);
    return std::string(asText(check));
}

std::string emptyDocument(QPDFObjectHandle encryption, const std::string& identifier)
{
    const auto id = QPDFObjectHandle::newString(identifier);
    return "%PDF-1.7\n1 0 obj\n<</Type/Catalog/Pages 2 0 R>>\nendobj\n"
           "2 0 obj\n<</Type/Pages/Count 0/Kids[]>>\nendobj\ntrailer\n<</Root 1 0 R/Size 3/ID " +
           QPDFObjectHandle::newArray({id, id}).unparse() + "/Encrypt " +
           encryption.unparseResolved() + ">>\n";
}

} // namespace

std::unique_ptr<QPDF> encryptedAlike(QPDF& document, const std::string& identifier)
{
    int revision = 0;
    int permissions = 0;
    int version = 0;
    auto ignored = QPDF::e_none;
    document.isEncrypted(revision, permissions, version, ignored, ignored, ignored);
    QPDFObjectHandle encryption = document.getTrailer().getKey("/Encrypt").shallowCopy();
    const std::string owner = encryption.getKey("/O").getStringValue();
    QPDFObjectHandle encryptsMetadata = encryption.getKey("/EncryptMetadata");
    const int keyBytes = static_cast<int>(document.getEncryptionKey().size());
    const QPDF::EncryptionData data(version,
                                    revision,
                                    keyBytes,
                                    permissions,
                                    owner,
                                    {},
                                    {},
                                    {},
                                    {},
                                    identifier,
                                    !encryptsMetadata.isBool() || encryptsMetadata.getBoolValue());
    const std::string password = document.getTrimmedUserPassword();
    const std::string key = QPDF::compute_encryption_key(document.getPaddedUserPassword(), data);
    encryption.replaceKey("/U",
                          QPDFObjectHandle::newString(passwordCheck(key, revision, identifier)));

    // The library reads AES with the one length of key that there is, and writes what stands here.
    encryption.replaceKey("/Length", QPDFObjectHandle::newInteger(8LL * keyBytes));

    auto alike = std::make_unique<QPDF>();
    alike->setLogger(document.getLogger());
    alike->setSuppressWarnings(true);
    const std::string content = emptyDocument(encryption, identifier);
    try {
        alike->processMemoryFile("", content.data(), content.size(), password.c_str());
    } catch (const std::exception&) {
        return nullptr;
    }
    return alike;
}

} // namespace nullprint::pdf
