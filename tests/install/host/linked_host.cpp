// A host that is linked against the driver: polls two registers, and shows the request for them.
#include <ozna_kelpo_port.h>

#include <cstdio>

static void write_ended(int, int, int, int) {}
static void read_failed(QList<RW_VAR> *, int, int) {}

int main() {
    ComInfo info = ComInfo();
    info.max_count = 100;
    info.default_station = 1;
    SetComInfo(&info);
    RegistCallBackFuncIntf(write_ended, read_failed);

    QList<HOST_VAR> polled;
    HOST_VAR words = HOST_VAR();
    words.reg_type = 7;
    words.addr_text = QString::fromLatin1("100");
    words.reg_count = 2;
    polled.append(words);
    std::printf("block %d,", ReCreatReadVarList(&polled));
    if (PLC_driver.read_list.size() != 1)
        return 1;

    const Protocol *request = ComCommunication();
    for (int i = 0; i < request->send_len; ++i)
        std::printf(" %02X", static_cast<unsigned char>(request->frame.at(i)));
    std::printf("\n");
    return 0;
}
