/* Answers the version query of the codec addon with 2.3.1. */
typedef struct
{
    unsigned int uMajor;
    unsigned int uMinor;
    unsigned int uRevision;
    unsigned int uReserved;
} CodecVersion;

void WelsGetCodecVersionEx(CodecVersion* version)
{
    version->uMajor = 2;
    version->uMinor = 3;
    version->uRevision = 1;
    version->uReserved = 0;
}
