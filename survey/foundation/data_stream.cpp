#include "survey/foundation/data_stream.h"

void DataFilter::operator()(ConstBuffer& input, Buffer& output) { output << input; }

Data DataFilter::operator()(ConstData input, Data output) {
  if (input.Empty() || output.Empty()) return output;
  ConstBuffer in(input);
  Buffer out(output);
  (*this)(in, out);
  return out.Remainder();
}

void DataFilter::operator()(ConstData input, Buffer& output) {
  ConstBuffer in(input);
  (*this)(in, output);
}

Data DataFilter::operator()(ConstBuffer& input, Data output) {
  Buffer out(output);
  (*this)(input, out);
  return out.Remainder();
}

void DataWriter::Receive(ConstData data) {
  if (data.Length() > output_.Remaining()) throw DataOverflow();
  output_ << data;
}

DataReader& DataReader::operator>>(Data target) {
  Buffer into(target);
  while (!into.Full() && Unfinished()) *this >> into;
  if (!into.Full()) throw NoMoreData();
  return *this;
}

void ReadReader(DataReader& reader, DataReceiver& receiver) {
  unsigned char block[1024];
  receiver.Start();
  while (reader.Unfinished()) {
    Buffer into(Data(block, sizeof block));
    reader >> into;
    receiver.Receive(into.Processed());
  }
  receiver.ReceiveEnd();
}
