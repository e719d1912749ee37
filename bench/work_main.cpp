// Does one kind of work a number of times and nothing else, for counting instructions: the difference between two runs
// is the work alone.
//   kelpo-bench-work              lists the kinds of work
//   kelpo-bench-work NAME COUNT
#include "bench/exchanges.h"
#include "bench/peer_crc.h"

#include <cstdlib>
#include <functional>
#include <iostream>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using Work = std::function<void(int count)>;

void require(bool taken) {
    if (!taken)
        throw std::runtime_error("a reply was not accepted");
}

Work checksum(int (*function)(unsigned char *, unsigned short), std::size_t size) {
    return [=](int count) {
        std::vector<unsigned char> data = bench::bytes_to_sum_up(size);
        for (int i = 0; i < count; ++i)
            data[0] = static_cast<unsigned char>(function(data.data(), static_cast<unsigned short>(size)));
    };
}

template <typename Exchange> Work exchanges(const bench::ReadSubject &subject) {
    return [subject](int count) {
        Exchange contender(subject);
        // In the first turn the driver's cache grows.
        for (int i = 0; i < bench::requests_in_turn + count; ++i)
            require(contender.once());
    };
}

Work rebuilds(int variables) {
    return [variables](int count) {
        bench::configure_driver();
        QList<HOST_VAR> list = bench::mixed_variables(variables);
        for (int i = 0; i < count; ++i)
            ReCreatReadVarList(&list);
    };
}

// Whole passes over the read list of a panel. Replies are made in the first pass. A request that was cut in two is done
// with its second reply.
Work passes(int variables) {
    return [variables](int count) {
        ComInfo &com_info = bench::configure_driver();
        QList<HOST_VAR> list = bench::mixed_variables(variables, 2000);
        const int blocks = ReCreatReadVarList(&list);
        std::map<std::string, QByteArray> replies;
        const auto exchange = [&replies] {
            const QByteArray &request = ComCommunication()->frame;
            QByteArray &reply = replies[std::string(request.constData(), static_cast<std::size_t>(request.size()))];
            if (reply.isEmpty())
                reply = bench::reply_to(request);
            require(DataCom(&reply, static_cast<int>(reply.size()))->ret_value == 1);
        };
        for (int done = 0; done < (1 + count) * blocks;) {
            exchange();
            if (com_info.success_count >= com_info.success_limit)
                ++done;
        }
    };
}

std::map<std::string, Work> kinds_of_work() {
    std::map<std::string, Work> kinds;
    for (const std::size_t size : {std::size_t(6), std::size_t(253)}) {
        kinds["CRC of " + std::to_string(size) + " bytes, CalCRC"] = checksum(CalCRC, size);
        kinds["CRC of " + std::to_string(size) + " bytes, two tables"] = checksum(bench::crc_with_two_tables, size);
    }
    for (const bench::ReadSubject &subject : bench::read_subjects) {
        kinds[std::string("exchange of ") + subject.name + ", driver"] = exchanges<bench::DriverExchange>(subject);
        kinds[std::string("exchange of ") + subject.name + ", libmodbus"] = exchanges<bench::PeerExchange>(subject);
    }
    kinds["rebuild of 1000 variables"] = rebuilds(1000);
    kinds["pass over 500 variables"] = passes(500);
    return kinds;
}

}  // namespace

int main(int argc, char **argv) {
    const std::map<std::string, Work> kinds = kinds_of_work();
    if (argc == 1) {
        for (const auto &[name, work] : kinds)
            std::cout << name << '\n';
        return EXIT_SUCCESS;
    }
    const auto found = kinds.find(argv[1]);
    if (argc != 3 || found == kinds.end()) {
        std::cerr << "unknown kind of work; without arguments, the kinds are listed\n";
        return EXIT_FAILURE;
    }
    try {
        found->second(std::atoi(argv[2]));
    } catch (const std::exception &problem) {
        std::cerr << argv[1] << ": " << problem.what() << '\n';
        return EXIT_FAILURE;
    }
    return EXIT_SUCCESS;
}
