/* SPDX-License-Identifier: MIT */
/* The codec once more, slow and plain: each step of the algorithm as it is told, no step combined
 * with another. What the library makes must be the same, byte for byte. One encoder at a time: they
 * share their table. */
#pragma once

#include "support/wire.h"

#include <string>

class ModelEncoder
{
public:
    explicit ModelEncoder(int max_bits) : max_bits_(max_bits)
    {
        if (max_bits_ >= 17) {
            max_bits_ = 16;
        }
        if (max_bits_ < 9) {
            max_bits_ = 12;
        }
    }
    ~ModelEncoder()
    {
        reset();
    }
    ModelEncoder(const ModelEncoder &) = delete;
    ModelEncoder &operator=(const ModelEncoder &) = delete;

    Bytes encode(const Bytes &input)
    {
        uint16_t code = input.at(0);
        for (size_t i = 1; i < input.size(); i++) {
            code = step(code, input[i]);
        }
        write(code);
        write(257);
        if (held_ != 0) {
            write(held_ & 0xFFFF);
        }
        return out_;
    }

    /* Codes in front of the one that ends the data, clear codes included. */
    size_t codes() const
    {
        return codes_ - (flushed() ? 2 : 1);
    }

private:
    /* The code of each code's string with each byte behind it; 0: there is none. */
    static uint16_t *follower(uint16_t code, uint8_t byte)
    {
        static uint16_t table[1U << 16][256];
        return &table[code][byte];
    }

    uint16_t step(uint16_t code, uint8_t byte)
    {
        uint16_t *longer = follower(code, byte);
        if (*longer != 0) {
            return *longer;
        }
        write(code);
        *longer = next_++;
        used_.push_back(longer);
        if (uint32_t{next_} == shift_) {
            widen();
        }
        return byte;
    }

    void widen()
    {
        width_++;
        if (width_ > max_bits_) {
            write(256);
            reset();
        } else {
            shift_ *= 2;
        }
    }

    void reset()
    {
        width_ = 9;
        shift_ = 512;
        next_ = 258;
        for (uint16_t *place : used_) {
            *place = 0;
        }
        used_.clear();
    }

    void write(uint32_t code)
    {
        held_ = held_ << width_ | code;
        bits_ += width_;
        while (bits_ >= 8) {
            bits_ -= 8;
            out_.push_back(static_cast<uint8_t>(held_ >> bits_));
            held_ &= (1u << bits_) - 1;
        }
        codes_++;
        last_ = code;
    }

    bool flushed() const
    {
        return last_ != 257;
    }

    int max_bits_;
    int width_ = 9;
    uint32_t shift_ = 512;
    uint16_t next_ = 258;
    std::vector<uint16_t *> used_; /* places of the table, which is too large to be cleared whole */
    uint32_t held_ = 0;
    int bits_ = 0;
    size_t codes_ = 0;
    uint32_t last_ = 0;
    Bytes out_;
};

inline Bytes model_encoded(const Bytes &input, int max_bits)
{
    return ModelEncoder(max_bits).encode(input);
}

struct Decoded {
    bool null = false;
    Bytes content;
    std::string line; /* on standard error */

    bool operator==(const Decoded &other) const
    {
        return null == other.null && content == other.content && line == other.line;
    }
};

class ModelDecoder
{
public:
    explicit ModelDecoder(const Bytes &input) : in_(input), left_(input.size())
    {
    }

    /* Without the second look at a stream whose last code fills the table. */
    Decoded strict()
    {
        reset();
        uint32_t code = 0;
        while (left_ != 0) {
            code = read();
            if (code == 257) {
                break;
            }
            if (code == 256) {
                reset();
                continue;
            }
            if (code >= next_) {
                return {true, {}, "Bad sequence\n"};
            }
            unwind(static_cast<uint16_t>(code));
            next_++;
            if (uint32_t{next_} >= shift_ && !widen()) {
                return {true, {}, "Too many bits\n"};
            }
        }
        return {false, out_, code == 257 ? "" : "Bits did not end in EOD\n"};
    }

    Decoded decode()
    {
        const Decoded result = strict();
        return !result.line.empty() && ended_at_widening() ? Decoded{false, before_widening_, ""}
                                                           : result;
    }

private:
    struct Entry {
        uint16_t prev;
        uint16_t back;
        uint8_t c;
    };

    void reset()
    {
        table_.assign(table_.size() < 512 ? 512 : table_.size(), Entry{});
        for (size_t i = 0; i < 256; i++) {
            table_[i].c = static_cast<uint8_t>(i);
        }
        next_ = 258;
        shift_ = 512;
        width_ = 9;
        widened_at_ = 0;
    }

    uint32_t read()
    {
        while (bits_ < width_) {
            if (left_ != 0) {
                held_ = held_ << 8 | in_[in_.size() - left_];
                left_--;
                bits_ += 8;
            } else {
                held_ <<= width_ - bits_;
                bits_ = width_;
            }
        }
        bits_ -= width_;
        const uint32_t code = held_ >> bits_;
        held_ &= (1u << bits_) - 1;
        return code;
    }

    void unwind(uint16_t code)
    {
        table_.at(next_).prev = code;
        uint16_t c = code;
        while (c >= 256) {
            const uint16_t parent = table_.at(c).prev;
            table_.at(parent).back = c;
            c = parent;
        }
        table_.at(next_ - 1u).c = table_.at(c).c;
        while (table_.at(c).back != 0) {
            out_.push_back(table_[c].c);
            const uint16_t child = table_[c].back;
            table_[c].back = 0;
            c = child;
        }
        out_.push_back(table_[c].c);
    }

    bool widen()
    {
        widened_at_ = (in_.size() - left_) * 8 - static_cast<size_t>(bits_);
        former_width_ = static_cast<size_t>(width_);
        before_widening_ = out_;
        width_++;
        if (width_ >= 17) {
            return false;
        }
        shift_ *= 2;
        table_.resize(shift_, Entry{});
        return true;
    }

    /* Bit by bit: is 257 there in the former width, and nearly nothing behind? */
    bool ended_at_widening() const
    {
        const size_t bits = in_.size() * 8;
        if (widened_at_ == 0 || widened_at_ + former_width_ > bits ||
            bits - widened_at_ - former_width_ > former_width_) {
            return false;
        }
        uint32_t code = 0;
        for (size_t i = widened_at_; i < widened_at_ + former_width_; i++) {
            code = code << 1 | (in_[i / 8] >> (7 - i % 8) & 1u);
        }
        return code == 257;
    }

    const Bytes in_;
    size_t left_;
    std::vector<Entry> table_;
    uint16_t next_ = 258;
    uint32_t shift_ = 512;
    int width_ = 9;
    uint32_t held_ = 0;
    int bits_ = 0;
    Bytes out_;
    size_t widened_at_ = 0;
    size_t former_width_ = 0;
    Bytes before_widening_;
};
