#pragma once

namespace Varn::Cloud {

/// The kind of storage that a destination lies on. Kinds are kept and exchanged as these numbers; a number without a
/// name here is carried as it is. 33 is not in use.
enum class Type : int {
    Unknown = -1, ///< no kind: what a look-up of an unknown name gives
    FileSystem = 1,
    AmazonS3 = 2,
    AzureBlob = 3,
    OracleCloud = 4,
    Rackspace = 5,
    Openstack = 6,
    GoogleStorage = 7,
    SoftLayer = 8,
    HPCloud = 9,
    HPHelion = 10,
    S3Compatible = 11,
    Scality = 12,
    DreamObjects = 13,
    Cloudian = 14,
    ThinkOn = 15,
    Aruba = 16,
    Tiscali = 17,
    Seeweb = 18,
    CenturyLink = 19,
    AmazonS3Chinese = 20,
    Minio = 21,
    Dunkel = 22,
    Connectria = 23,
    HostEurope = 24,
    GreenQloud = 25,
    Constant = 26,
    Webzilla = 27,
    Verizon = 28,
    Wasabi = 29,
    AlibabaCloud = 30,
    iDrive = 31,
    BackBlaze = 32,
    Sftp = 34,
    WasabiUB = 35,
    WasabiUBStage = 36,
    WasabiStage = 37,
    AmazonS3UB = 38,
    HalvoCloud = 39,
};

} // namespace Varn::Cloud
