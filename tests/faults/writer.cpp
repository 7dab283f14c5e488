// Copies the lines of a file several times with Writer, to be killed at any moment: FROM TO TIMES
#include <cstdlib>
#include <tramostream/reader.h>

int main(int, char** arguments) {
    tramo::Writer writer(arguments[2]);
    for (int i = std::atoi(arguments[3]); i > 0; --i)
        for (const tramo::LineView& line : tramo::Reader(arguments[1])) writer.put(line);
    writer.commit();
}
