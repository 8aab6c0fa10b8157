// Prints what the host's interface is for this compiler and architecture, in the form in which tests/abi
// keeps it. usage: contract slots|layout|metadata

#include <canservicebase.h>
#include <serialport.h>

#include <QJsonDocument>
#include <QJsonObject>
#include <QPluginLoader>

#include <cxxabi.h>

#include <cstddef>
#include <cstdio>
#include <cstring>
#include <typeinfo>

// In the C++ ABI of the platforms that head units use, the first word of a pointer to a virtual member tells
// the offset in the virtual table: plus one on x86; on ARM as it is, with the mark in the second word.
template<typename Member> static int slotOf(Member member)
{
    std::ptrdiff_t offset = 0;
    std::memcpy(&offset, &member, sizeof offset);
    return static_cast<int>(offset / std::ptrdiff_t{sizeof(void*)});
}

static QByteArray signature(const std::type_info& member)
{
    char* text = abi::__cxa_demangle(member.name(), nullptr, nullptr, nullptr);
    QByteArray result = QByteArray(text).replace(" (CanServiceBase::*)", " ");
    std::free(text);
    return result;
}

// The first virtual function of a class derived from the host's takes the slot behind the host's last.
class Beyond : public CanServiceBase
{
public:
    virtual void beyond() = 0;
};

static void printSlots()
{
#define OPERATION(number, name, ...)                                                                         \
    std::printf("OPERATION(%d, %s, %s)\n", slotOf(&CanServiceBase::name), #name,                             \
                signature(typeid(&CanServiceBase::name)).constData());
#include "slots.inc"
    std::printf("// The next slot would be %d.\n", slotOf(&Beyond::beyond));
}

static void printLayout()
{
#define RECORD(record, bytes) std::printf("RECORD(%s, %zu)\n", #record, sizeof(record));
#define FIELD(record, field, offset)                                                                         \
    std::printf("FIELD(%s, %s, %zu)\n", #record, #field, offsetof(record, field));
#if QT_POINTER_SIZE == 4
#include "layout32.inc"
#else
#include "layout64.inc"
#endif
}

// All of it but the two entries that tell a debug build, which no host asks for.
static void printMetadata()
{
    QJsonObject data = QPluginLoader(PLUGIN_FILE).metaData();
    data.remove("debug");
    data.remove("archreq");
    std::printf("%s", QJsonDocument(data).toJson().constData());
}

int main(int, char** argv)
{
    const QByteArray part(argv[1]);
    if (part == "slots")
        printSlots();
    else if (part == "layout")
        printLayout();
    else
        printMetadata();
    return 0;
}
