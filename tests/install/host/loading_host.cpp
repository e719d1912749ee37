// The same host as linked_host.cpp, but it loads the driver by its file name, as a panel does.
#include <ozna_kelpo_port.h>

#include <cstdio>

#include <dlfcn.h>

static void write_ended(int, int, int, int) {}
static void read_failed(QList<RW_VAR> *, int, int) {}

int main() {
    void *driver = dlopen("libozna_kelpo_port_2.so.1", RTLD_NOW | RTLD_LOCAL);
    if (driver == 0) {
        std::fprintf(stderr, "%s\n", dlerror());
        return 1;
    }
    void (*set_com_info)(ComInfo *) = reinterpret_cast<void (*)(ComInfo *)>(dlsym(driver, "SetComInfo"));
    void (*regist_call_backs)(write_result_fn, comm_error_fn) =
        reinterpret_cast<void (*)(write_result_fn, comm_error_fn)>(dlsym(driver, "RegistCallBackFuncIntf"));
    int (*re_create_read_var_list)(QList<HOST_VAR> *) =
        reinterpret_cast<int (*)(QList<HOST_VAR> *)>(dlsym(driver, "ReCreatReadVarList"));
    Protocol *(*com_communication)() = reinterpret_cast<Protocol *(*)()>(dlsym(driver, "ComCommunication"));

    ComInfo info = ComInfo();
    info.max_count = 100;
    info.default_station = 1;
    set_com_info(&info);
    regist_call_backs(write_ended, read_failed);

    QList<HOST_VAR> polled;
    HOST_VAR words = HOST_VAR();
    words.reg_type = 7;
    words.addr_text = QString::fromLatin1("100");
    words.reg_count = 2;
    polled.append(words);
    std::printf("block %d,", re_create_read_var_list(&polled));

    const Protocol *request = com_communication();
    for (int i = 0; i < request->send_len; ++i)
        std::printf(" %02X", static_cast<unsigned char>(request->frame.at(i)));
    std::printf("\n");
    return dlclose(driver) == 0 ? 0 : 1;
}
