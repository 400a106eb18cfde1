// Stream interfaces over byte views: filters that transform bytes from one
// cursor to another, receivers that take bytes as they come, and readers
// that produce them.
#pragma once

#include "survey/foundation/data.h"

// Transforms bytes from an input cursor into an output cursor. The default
// copies as much as fits. A derived filter that overrides the virtual form
// brings the other forms back into scope with `using DataFilter::operator()`.
class DataFilter {
 public:
  virtual ~DataFilter() = default;

  virtual void operator()(ConstBuffer& input, Buffer& output);

  // Returns at once, with nothing done, if the input is empty or the output
  // full. Gives the part of the output that was not written.
  Data operator()(ConstData input, Data output);
  void operator()(ConstData input, Buffer& output);
  // Gives the part of the output that was not written.
  Data operator()(ConstBuffer& input, Data output);
};

// Takes bytes as they come: Start, any number of Receive, ReceiveEnd.
class DataReceiver {
 public:
  virtual ~DataReceiver() = default;

  virtual void Start() {}
  virtual void Receive(ConstData) {}
  virtual void ReceiveEnd() {}

  DataReceiver& operator<<(ConstData data) {
    Receive(data);
    return *this;
  }
};

// A receiver that writes what it receives into a fixed view, and refuses to
// truncate: a block that does not fit in the room left throws DataOverflow
// and writes nothing of itself.
class DataWriter : public DataReceiver {
 public:
  explicit DataWriter(Data room) : output_(room) {}

  // Starting again forgets what was written.
  void Start() override { output_.current = output_.start; }
  void Receive(ConstData data) override;

  ConstData Written() const { return output_.Processed(); }
  unsigned long Room() const { return output_.Remaining(); }

 private:
  Buffer output_;
};

// Produces bytes until it is finished.
class DataReader {
 public:
  virtual ~DataReader() = default;

  // Whether more data can come.
  virtual bool Unfinished() const = 0;
  // Moves what bytes it can into the output's room and advances its cursor.
  virtual void operator>>(Buffer& output) = 0;

  // Fills the whole target: reads while the reader is unfinished and the
  // target has room. A reader that ends with room left throws NoMoreData,
  // after delivering what there was.
  DataReader& operator>>(Data target);
};

// Passes everything a reader produces to a receiver, in blocks of up to
// 1024 bytes, between the receiver's Start and ReceiveEnd.
void ReadReader(DataReader& reader, DataReceiver& receiver);
